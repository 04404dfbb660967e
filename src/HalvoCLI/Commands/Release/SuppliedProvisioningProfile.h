#pragma once

#include "Commands/Release/ReleaseOptions.h"

#include <HalvoNotarization/ProvisioningProfile.h>
#include <Platform/Platform.h>

#include <optional>
#include <string>

namespace halvo {

/// How an archive is signed with a provisioning profile that the user has.
struct ResolvedProvisioningProfile {
    std::string identity{};  ///< the name of the signing certificate
    std::string specifier{}; ///< the profile's UUID, as xcodebuild takes it
    std::optional<std::string> teamID{};
    std::optional<std::string> bundleIdentifier{}; ///< the app that it is for; absent for a wildcard

    bool operator==(const ResolvedProvisioningProfile&) const = default;
};

/// Reads the profile of `--provisioning-profile`, else of HALVO_PROVISIONING_PROFILE, checks that it serves
/// for Developer ID distribution, and puts it where Xcode looks. Absent when none is given. Throws CLIError
/// `invalid_argument`, ProvisioningProfileError and FileError.
std::optional<ResolvedProvisioningProfile> resolveArchiveProvisioningProfile(const ReleaseOptions& options,
                                                                             const Platform& platform);

/// Prefers a certificate for Developer ID among those of the profile. Throws CLIError `invalid_argument` for
/// a profile without UUID or certificate.
ResolvedProvisioningProfile signingWith(const ProvisioningProfile& profile);

} // namespace halvo
