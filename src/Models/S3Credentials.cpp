#include <Models/S3Credentials.h>

#include <Base/Failure.h>

#include <nlohmann/json.hpp>

namespace halvo {
namespace {

using nlohmann::json;

constexpr const char* accessKeyIDKey = "accessKeyID";
constexpr const char* secretAccessKeyKey = "secretAccessKey";

std::string textAt(const json& object, const char* key) {
    const auto entry = object.find(key);
    if (entry == object.end())
        throw Failure("The S3 credentials have no \"" + std::string(key) + "\".");
    if (!entry->is_string())
        throw Failure("The \"" + std::string(key) + "\" of the S3 credentials is no text.");
    return entry->get<std::string>();
}

} // namespace

void to_json(json& json, const S3Credentials& credentials) {
    json = {{accessKeyIDKey, credentials.accessKeyID}, {secretAccessKeyKey, credentials.secretAccessKey}};
}

void from_json(const json& json, S3Credentials& credentials) {
    if (!json.is_object())
        throw Failure("The S3 credentials are no JSON object.");
    credentials.accessKeyID = textAt(json, accessKeyIDKey);
    credentials.secretAccessKey = textAt(json, secretAccessKeyKey);
}

} // namespace halvo
