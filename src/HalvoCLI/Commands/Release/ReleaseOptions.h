#pragma once

#include "Output/OutputFormat.h"
#include "Publications.h"

#include <Base/Date.h>

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace halvo {

/// The value of `--build-number`.
struct BuildNumber {
    struct Explicit {
        std::int64_t value = 0; ///< above zero
        bool operator==(const Explicit&) const = default;
    };
    struct Auto { ///< one past the highest released build number
        bool operator==(const Auto&) const = default;
    };
    struct Timestamp { ///< the time of the run, yyyyMMddHHmmss in UTC
        bool operator==(const Timestamp&) const = default;
    };
    std::variant<Auto, Explicit, Timestamp> kind = Auto();

    /// "auto" and "timestamp" in any case, or a positive integer; absent for anything else.
    static std::optional<BuildNumber> parse(const std::string& argument);
    /// Absent for `Auto`, which only the destination can tell.
    std::optional<std::int64_t> resolve(Date now) const;

    bool operator==(const BuildNumber&) const = default;
};

/// Everything that `halvo release` accepts, as it was given.
struct ReleaseOptions {
    std::optional<std::string> path{};
    std::optional<std::string> scheme{};
    std::optional<std::string> releaseNotes{};
    std::optional<std::string> channel{};
    bool beta = false;
    bool phasedRollout = false;
    bool critical = false;
    bool draft = false;
    std::optional<std::string> codesignIdentity{};
    std::optional<std::string> keychainProfile{};
    bool noDMG = false;
    std::optional<bool> watermark{};
    std::optional<std::string> dmgBackground{};
    bool skipNotarization = false;
    std::optional<std::string> output{};
    PublicationOptions publication{};
    bool adoptFeed = false;
    OutputFormat format = OutputFormat::text;
    std::optional<std::string> sparklePrivateKey{};
    std::optional<std::string> ascAPIKeyID{};
    std::optional<std::string> ascAPIIssuer{};
    std::optional<std::string> ascAPIKey{};
    std::optional<std::string> provisioningProfile{};
    std::optional<BuildNumber> buildNumber{};
    std::optional<std::string> marketingVersion{};
    std::optional<std::string> bundleId{};
    bool nonInteractive = false;

    void declare(CommandArguments& arguments);
};

/// What the options choose for the release itself; `channel` is the resolved one.
ReleaseConfiguration releaseConfiguration(const ReleaseOptions& options,
                                          const std::optional<std::string>& channel);

/// The channel to publish to, absent for the default one. Throws ChannelError, and CLIError
/// `invalid_argument` when `--beta` stands beside another channel, the default one included.
std::optional<std::string> resolveChannel(const std::optional<std::string>& channel, bool beta);

} // namespace halvo
