#pragma once

#include <Base/URL.h>

#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace halvo {

/// A bucket, and where the world reads it.
struct S3Configuration {
    static constexpr const char* defaultAppcastPath = "appcast.xml";

    std::string bucket{};
    std::string region{};
    std::optional<URL> endpoint{}; ///< absent: Amazon's own for the region
    std::optional<std::string> pathPrefix{};
    URL publicBaseURL{};
    std::string appcastPath{}; ///< below the prefix

    /// A prefix as a person writes it, without the slashes at its ends; absent when nothing is left.
    static std::optional<std::string> parsePathPrefix(std::string_view text);

    /// The key of an object: the name behind the prefix, if there is one. No slash is trimmed.
    std::string s3Key(const std::string& name) const;
    URL downloadURL(const std::string& name) const;
    URL appcastURL() const { return downloadURL(appcastPath); }
    bool isValid() const { return !bucket.empty(); }

    static void fields(auto& configuration, auto&& field) {
        field("bucket", configuration.bucket);
        field("region", configuration.region);
        field("endpoint", configuration.endpoint);
        field("pathPrefix", configuration.pathPrefix);
        field("publicBaseURL", configuration.publicBaseURL);
        field("appcastPath", configuration.appcastPath);
    }

    bool operator==(const S3Configuration&) const = default;
};

/// An http or https address with a host; absent for any other text. "mailto:x" is a URL too, and so is
/// "cdn.example.com:8080/files", whose scheme would be "cdn.example.com".
std::optional<URL> parseWebAddress(std::string_view text);

/// Where the files of an app's releases lie.
struct StorageConfiguration {
    std::variant<S3Configuration> value{};

    const S3Configuration& s3() const { return std::get<S3Configuration>(value); }
    URL appcastURL() const { return s3().appcastURL(); }
    URL downloadURL(const std::string& name) const { return s3().downloadURL(name); }
    const URL& publicBaseURL() const { return s3().publicBaseURL; }
    bool isValid() const { return s3().isValid(); }

    static constexpr const char* caseNames[] = {"s3"};
    static void caseFields(auto& storage, auto&& field) { field("_0", storage); }

    bool operator==(const StorageConfiguration&) const = default;
};

/// Secret: belongs in the keychain, never among the settings.
struct S3Credentials {
    std::string accessKeyID{};
    std::string secretAccessKey{};

    static void fields(auto& credentials, auto&& field) {
        field("accessKeyID", credentials.accessKeyID);
        field("secretAccessKey", credentials.secretAccessKey);
    }

    bool operator==(const S3Credentials&) const = default;
};

} // namespace halvo
