#pragma once

#include <Base/Failure.h>
#include <Base/URL.h>

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace halvo {

class Bundle;

/// An Info.plist that lacks what a release needs.
struct BundleInfoCases {
    /// CFBundleVersion is not an integer.
    struct InvalidVersion {
        std::string rawValue;
        std::string description() const {
            return "CFBundleVersion is \"" + rawValue +
                   "\", but Halvo currently requires an integer build number. Set CURRENT_PROJECT_VERSION to an integer (e.g. 42) and keep your marketing version (e.g. 1.2.3) in CFBundleShortVersionString.";
        }
        bool operator==(const InvalidVersion&) const = default;
    };
    /// The file is missing, or cannot be read as a dictionary.
    struct NoInfoDictionary {
        std::string reason{}; ///< empty when there is no file
        std::string description() const { return "Bundle does not contain an Info.plist"; }
        std::string advice() const {
            return reason.empty() ? "" : "Contents/Info.plist is there but cannot be read. " + reason;
        }
        bool operator==(const NoInfoDictionary&) const = default;
    };
    struct NoName {
        std::string description() const { return "Missing CFBundleName in Info.plist"; }
        bool operator==(const NoName&) const = default;
    };
    struct NoIdentifer {
        std::string description() const { return "Missing CFBundleIdentifier in Info.plist"; }
        bool operator==(const NoIdentifer&) const = default;
    };
    struct NoVersion {
        std::string description() const { return "Missing CFBundleVersion in Info.plist"; }
        bool operator==(const NoVersion&) const = default;
    };
    struct NoVersionString {
        std::string description() const { return "Missing CFBundleShortVersionString in Info.plist"; }
        bool operator==(const NoVersionString&) const = default;
    };
    struct NoMinimumSystemVersion {
        std::string description() const { return "Missing LSMinimumSystemVersion in Info.plist"; }
        bool operator==(const NoMinimumSystemVersion&) const = default;
    };
    using Case = std::variant<InvalidVersion, NoInfoDictionary, NoName, NoIdentifer, NoVersion,
                              NoVersionString, NoMinimumSystemVersion>;
};
using BundleInfoError = FailureOf<BundleInfoCases>;

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

    static void fields(auto& info, auto&& field) {
        field("url", info.url);
        field("name", info.name);
        field("identifier", info.identifier);
        field("minimumSystemVersion", info.minimumSystemVersion);
        field("version", info.version);
        field("versionString", info.versionString);
        field("appIcon", info.appIcon);
        field("sparklePublicEDKey", info.sparklePublicEDKey);
        field("sparkleFeedURL", info.sparkleFeedURL);
        field("sparkleEnableSystemProfiling", info.sparkleEnableSystemProfiling);
    }

    bool operator==(const BundleInfo&) const = default;
};

} // namespace halvo
