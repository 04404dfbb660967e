#pragma once

#include <Base/Failure.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>

namespace halvo {

struct BundleInfo;

/// A build that does not carry the versions that were asked for.
struct ReleaseVersionOverrideCases {
    struct Mismatch {
        std::string requested;
        std::string actual;
        bool operator==(const Mismatch&) const = default;
    };
    /// The project did not take over the build settings; a value that it did take over is absent.
    struct Ignored {
        std::optional<Mismatch> buildNumber{};
        std::optional<Mismatch> marketingVersion{};
        std::string description() const;
    };
    using Case = std::variant<Ignored>;
};
using ReleaseVersionOverrideError = FailureOf<ReleaseVersionOverrideCases>;

/// Versions to build with, in place of those that the project has.
struct ReleaseVersionOverride {
    std::optional<std::int64_t> buildNumber{};
    std::optional<std::string> marketingVersion{};

    bool isEmpty() const { return !buildNumber && !marketingVersion; }
    /// By the names that xcodebuild knows.
    std::map<std::string, std::string> buildSettings() const;
    /// Throws ReleaseVersionOverrideError unless the built app has every version that was asked for.
    void verify(const BundleInfo& info) const;

    bool operator==(const ReleaseVersionOverride&) const = default;
};

} // namespace halvo
