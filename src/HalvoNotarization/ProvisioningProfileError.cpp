#include <HalvoNotarization/ProvisioningProfile.h>
#include <Models/ServiceAddresses.h>

namespace halvo {
namespace {

using Cases = ProvisioningProfileErrorCases;

std::string quoted(const std::string& name) { return "\"" + name + "\""; }

/// "2026-01-31"; the hour does not matter to somebody who has to make a new profile.
std::string day(Date date) { return formatISO8601(date).substr(0, 10); }

std::string passNewProfile() {
    return std::string(helpAddress::appleProfiles) + " and pass that file with --provisioning-profile.";
}

} // namespace

std::string_view displayName(ProfileType type) {
    switch (type) {
    case ProfileType::development: return "Development";
    case ProfileType::developerID: return "Developer ID";
    case ProfileType::enterprise: return "Enterprise (In-House)";
    case ProfileType::appStore: return "App Store";
    case ProfileType::unknown: break;
    }
    return "unrecognized";
}

std::string Cases::DevelopmentProfileEmbedded::description() const {
    return "This app embeds a Development provisioning profile (" + quoted(name) + ") that only allows " +
           std::to_string(deviceCount) + " registered device" + (deviceCount == 1 ? "" : "s") +
           " to launch it. Shipping it would make the app unlaunchable for everyone else. Re-archive in Xcode with a Developer ID distribution profile (set Signing to \"Developer ID Application\" or use Distribute App > Developer ID), or pass the .xcodeproj / .xcarchive directly to `halvo release` so xcodebuild handles export.";
}

std::string Cases::WrongTypeForDeveloperID::description() const {
    return quoted(name) + " is a " + std::string(displayName(type)) +
           " profile, but `halvo release` signs for Developer ID distribution. Create a Developer ID Application profile at " +
           passNewProfile();
}

std::string Cases::Expired::description() const {
    return quoted(name) + " expired " + day(date) + ". Regenerate it at " +
           std::string(helpAddress::appleProfiles) + " and pass the new file.";
}

std::string Cases::XcodeManaged::description() const {
    return quoted(name) +
           " is managed by Xcode, and manual signing can't use it. Create your own Developer ID Application profile at " +
           passNewProfile();
}

} // namespace halvo
