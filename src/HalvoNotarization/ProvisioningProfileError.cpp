#include <HalvoNotarization/ProvisioningProfile.h>
#include <Models/ServiceAddresses.h>

namespace halvo {
namespace {

std::string quoted(const std::string& name) { return "\"" + name + "\""; }

/// "2026-01-31"; the hour does not matter to somebody who has to make a new profile.
std::string day(Date date) { return formatISO8601(date).substr(0, 10); }

const std::string profileList(helpAddress::appleProfiles);
const std::string passThatFile = " and pass that file with --provisioning-profile.";

} // namespace

std::string_view rawValue(ProfileType type) {
    switch (type) {
    case ProfileType::development: return "development";
    case ProfileType::developerID: return "developerID";
    case ProfileType::enterprise: return "enterprise";
    case ProfileType::appStore: return "appStore";
    case ProfileType::unknown: break;
    }
    return "unknown";
}

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

std::string ProvisioningProfileError::describe(const Case& which) {
    struct Describer {
        std::string operator()(const Unreadable& error) const {
            return "Could not read embedded provisioning profile: " + error.text;
        }
        std::string operator()(const DevelopmentProfileEmbedded& error) const {
            return "This app embeds a Development provisioning profile (" + quoted(error.name) +
                   ") that only allows " + std::to_string(error.deviceCount) + " registered device" +
                   (error.deviceCount == 1 ? "" : "s") +
                   " to launch it. Shipping it would make the app unlaunchable for everyone else. Re-archive "
                   "in Xcode with a Developer ID distribution profile (set Signing to \"Developer ID "
                   "Application\" or use Distribute App > Developer ID), or pass the .xcodeproj / .xcarchive "
                   "directly to `halvo release` so xcodebuild handles export.";
        }
        std::string operator()(const WrongTypeForDeveloperID& error) const {
            return quoted(error.name) + " is a " + std::string(displayName(error.type)) +
                   " profile, but `halvo release` signs for Developer ID distribution. Create a Developer ID "
                   "Application profile at " +
                   profileList + passThatFile;
        }
        std::string operator()(const Expired& error) const {
            return quoted(error.name) + " expired " + day(error.date) + ". Regenerate it at " + profileList +
                   " and pass the new file.";
        }
        std::string operator()(const XcodeManaged& error) const {
            return quoted(error.name) +
                   " is managed by Xcode, and manual signing can't use it. Create your own Developer ID "
                   "Application profile at " +
                   profileList + passThatFile;
        }
        std::string operator()(const MalformedPlist&) const {
            return "Embedded provisioning profile is not a valid plist";
        }
    };
    return std::visit(Describer{}, which);
}

} // namespace halvo
