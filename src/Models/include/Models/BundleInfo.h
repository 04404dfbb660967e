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
class BundleInfoError : public Failure {
public:
    /// CFBundleVersion is no integer.
    struct InvalidVersion {
        std::string rawValue;
        bool operator==(const InvalidVersion&) const = default;
    };
    struct NoInfoDictionary {
        bool operator==(const NoInfoDictionary&) const = default;
    };
    struct NoName {
        bool operator==(const NoName&) const = default;
    };
    struct NoIdentifer {
        bool operator==(const NoIdentifer&) const = default;
    };
    struct NoVersion {
        bool operator==(const NoVersion&) const = default;
    };
    struct NoVersionString {
        bool operator==(const NoVersionString&) const = default;
    };
    struct NoMinimumSystemVersion {
        bool operator==(const NoMinimumSystemVersion&) const = default;
    };
    using Case = std::variant<InvalidVersion, NoInfoDictionary, NoName, NoIdentifer, NoVersion,
                              NoVersionString, NoMinimumSystemVersion>;

    explicit BundleInfoError(Case problem) : Failure(describe(problem)), which(std::move(problem)) {}

    Case which;

private:
    static std::string describe(const Case& which);
};

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
