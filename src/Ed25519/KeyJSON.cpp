#include <Ed25519/PrivateKey.h>

#include <Base/Base64.h>

#include <nlohmann/json.hpp>

namespace {

halvo::Bytes decodedKey(const nlohmann::json& value) {
    const auto bytes = halvo::decodeBase64(value.get_ref<const std::string&>());
    if (!bytes)
        throw nlohmann::json::type_error::create(302, "a key must be base64 text", nullptr);
    return *bytes;
}

} // namespace

namespace nlohmann {

void adl_serializer<halvo::PrivateKey>::to_json(json& value, const halvo::PrivateKey& key) {
    value = key.baseEncoding();
}

halvo::PrivateKey adl_serializer<halvo::PrivateKey>::from_json(const json& value) {
    return halvo::PrivateKey(decodedKey(value));
}

void adl_serializer<halvo::PublicKey>::to_json(json& value, const halvo::PublicKey& key) {
    value = key.baseEncoding();
}

halvo::PublicKey adl_serializer<halvo::PublicKey>::from_json(const json& value) {
    return halvo::PublicKey(decodedKey(value));
}

} // namespace nlohmann
