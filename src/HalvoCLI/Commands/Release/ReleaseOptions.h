#pragma once

#include "Commands/Release/BuildNumber.h"
#include "Commands/S3DestinationOptions.h"
#include "Output/OutputFormat.h"

namespace halvo {

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
    std::optional<std::string> s3AccessKeyID{};
    std::optional<std::string> s3SecretAccessKey{};
    S3DestinationOptions s3Destination{};
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

/// The channel to publish to, absent for the default one. Throws ChannelError, and CLIError
/// `invalid_argument` when `--beta` stands beside another channel, the default one included.
std::optional<std::string> resolveChannel(const std::optional<std::string>& channel, bool beta);

} // namespace halvo
