#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace halvo {

/// An access key of an S3 account. Kept in the keychain, never in the settings.
struct S3Credentials {
    std::string accessKeyID{};
    std::string secretAccessKey{};
    bool operator==(const S3Credentials&) const = default;
};

void to_json(nlohmann::json& json, const S3Credentials& credentials);
/// Throws Failure that names a key which is missing or no text, and never its value.
void from_json(const nlohmann::json& json, S3Credentials& credentials);

} // namespace halvo
