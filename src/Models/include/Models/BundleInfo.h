#pragma once

#include <Base/Failure.h>
#include <Base/URL.h>

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

#include <nlohmann/json_fwd.hpp>

namespace halvo {

class Bundle;

/// An Info.plist that lacks what a release needs.
struct BundleInfoErrorCases {
    /// CFBundleVersion is not an integer.
    struct InvalidVersion {
        std::string rawValue{};
        std::string description() const {
            return "CFBundleVersion is \"" + rawValue +
                   "\", but Halvo currently requires an integer build number. Set CURRENT_PROJECT_VERSION to an integer (e.g. 42) and keep your marketing version (e.g. 1.2.3) in CFBundleShortVersionString.";
        }
    };
    /// The file is missing, or cannot be read as a dictionary.
    struct NoInfoDictionary {
        std::string reason{}; ///< empty when there is no file
        std::string description() const { return "Bundle does not contain an Info.plist"; }
        std::string advice() const {
            return reason.empty() ? "" : "Contents/Info.plist is there but cannot be read. " + reason;
        }
    };
    struct NoName {
        std::string description() const { return "Missing CFBundleName in Info.plist"; }
    };
    struct NoIdentifer {
        std::string description() const { return "Missing CFBundleIdentifier in Info.plist"; }
    };
    struct NoVersion {
        std::string description() const { return "Missing CFBundleVersion in Info.plist"; }
    };
    struct NoVersionString {
        std::string description() const { return "Missing CFBundleShortVersionString in Info.plist"; }
    };
    struct NoMinimumSystemVersion {
        std::string description() const { return "Missing LSMinimumSystemVersion in Info.plist"; }
    };
    using Case = std::variant<InvalidVersion, NoInfoDictionary, NoName, NoIdentifer, NoVersion,
                              NoVersionString, NoMinimumSystemVersion>;
};
using BundleInfoError = FailureOf<BundleInfoErrorCases>;

/// The metadata of one application bundle, as its `Contents/Info.plist` has it.
struct BundleInfo {
    URL url{};                                       ///< where the bundle lies
    std::string name{};                              ///< CFBundleName
    std::string identifier{};                        ///< CFBundleIdentifier
    std::string minimumSystemVersion{};              ///< LSMinimumSystemVersion
    std::int64_t version = 0;                        ///< CFBundleVersion, the build number
    std::string versionString{};                     ///< CFBundleShortVersionString, the marketing version
    std::optional<URL> appIcon{};                    ///< the bundle's .icns file
    std::optional<std::string> sparklePublicEDKey{}; ///< SUPublicEDKey
    std::optional<URL> sparkleFeedURL{};             ///< SUFeedURL
    bool sparkleEnableSystemProfiling = false;       ///< SUEnableSystemProfiling

    /// Reads the bundle. An icon or a Sparkle value that is missing or makes no sense is left out. Throws
    /// BundleInfoError.
    static BundleInfo from(const Bundle& bundle);

    const std::string& id() const { return identifier; }
    std::string versionDescription() const; ///< "2.1.0 (42)"

    bool operator==(const BundleInfo&) const = default;
};

void to_json(nlohmann::json& json, const BundleInfo& info);
void from_json(const nlohmann::json& json, BundleInfo& info); ///< throws ModelError

} // namespace halvo
