#include "Commands/Release/SuppliedProvisioningProfile.h"

#include "Commands/Release/ReleaseInput.h"
#include "Output/CLIError.h"

#include <Base/Base64.h>
#include <Base/UUID.h>
#include <HalvoNotarization/ProvisioningProfileReader.h>
#include <Platform/Files.h>

#include <algorithm>

namespace halvo {
namespace {

ResolvedProvisioningProfile resolve(const std::filesystem::path& file, const Platform& platform) {
    ProvisioningProfileReader reader(platform.processes, platform.cancellation);
    const ProvisioningProfile profile = reader.readFile(file);
    profile.assertUsableForDeveloperIDExport(platform.clock.now());
    ResolvedProvisioningProfile resolved = signingWith(profile);
    ProvisioningProfileReader::install(file, resolved.specifier, platform.homeDirectory / "Library");
    return resolved;
}

CLIError malformed(const ProvisioningProfile& profile, const char* what) {
    return {"invalid_argument", "Provisioning profile \"" + profile.name + "\" " + what};
}

} // namespace

std::optional<ResolvedProvisioningProfile> resolveArchiveProvisioningProfile(const ReleaseOptions& options,
                                                                             const Platform& platform) {
    if (options.provisioningProfile && !options.provisioningProfile->empty()) {
        const std::filesystem::path file =
            std::filesystem::absolute(expandingTilde(*options.provisioningProfile, platform.homeDirectory));
        std::error_code unreadable;
        if (!std::filesystem::exists(file, unreadable))
            throw CLIError("invalid_argument", "Provisioning profile not found at " + file.string());
        return resolve(file, platform);
    }
    const auto text = platform.environment.nonEmpty("HALVO_PROVISIONING_PROFILE");
    if (!text)
        return std::nullopt;
    const auto bytes = decodeBase64(*text, Base64Reading::ignoringWhitespace);
    if (!bytes)
        throw CLIError(
            "invalid_argument",
            "HALVO_PROVISIONING_PROFILE is not valid base64. Encode the profile with `base64 < profile.provisionprofile | pbcopy`.");
    const TemporaryPath file(platform.temporaryDirectory /
                             ("halvo-" + UUID::random().string() + ".provisionprofile"));
    writeNewFile(file.path(), *bytes);
    return resolve(file.path(), platform);
}

ResolvedProvisioningProfile signingWith(const ProvisioningProfile& profile) {
    if (!profile.uuid)
        throw malformed(profile, "has no UUID; the file appears malformed.");
    const auto& names = profile.certificateNames;
    if (names.empty())
        throw malformed(profile, "contains no signing certificates.");
    const auto developerID = std::find_if(names.begin(), names.end(), [](const std::string& name) {
        return name.starts_with("Developer ID Application");
    });
    return {.identity = developerID != names.end() ? *developerID : names.front(),
            .specifier = *profile.uuid,
            .teamID = profile.teamIdentifier,
            .bundleIdentifier = profile.bundleIdentifier};
}

} // namespace halvo
