#include "Output/CLIError.h"

#include <Base/Text.h>
#include <HalvoCore/HostedPublication.h>
#include <Models/ServiceAddresses.h>

#include <algorithm>

#include <nlohmann/json.hpp>

namespace halvo {

CLIError CLIError::provisioningProfileRequired(const std::string& details) {
    return {
        "provisioning_profile_required",
        "The app's entitlements require a provisioning profile. Create a Developer ID Application provisioning profile at " +
            std::string(helpAddress::appleProfiles) +
            " and pass it with --provisioning-profile (or HALVO_PROVISIONING_PROFILE, base64); Halvo then signs fully offline. App Store Connect API keys cannot fetch Developer ID profiles (a known Apple limitation), so a profile is the reliable path on CI. Guide: " +
            helpAddress::provisioningProfiles + xcodebuildReport(details)};
}

CLIError CLIError::provisioningProfileMismatch(const std::string& bundleIdentifier,
                                               const std::string& details) {
    return {
        "provisioning_profile_mismatch",
        "The provisioning profile is for " + bundleIdentifier +
            ", so Halvo gives it only to targets whose PRODUCT_BUNDLE_IDENTIFIER matches it. xcodebuild still found a target that requires a profile. If that target is the app, pass the profile for the app's bundle identifier. Halvo can't give a supplied profile to a target that doesn't match it." +
            xcodebuildReport(details)};
}

CLIError CLIError::buildVersionOverrideIgnored(const ReleaseVersionOverrideError& error) {
    const auto& ignored = std::get<ReleaseVersionOverrideError::Ignored>(error.which);
    std::vector<std::string> parts;
    std::vector<std::string> fixes;
    const auto add = [&](const auto& mismatch, const std::string& what, const std::string& setting,
                         const std::string& key) {
        if (!mismatch)
            return;
        parts.push_back("Requested " + what + " " + mismatch->requested + " but the archived app has " +
                        mismatch->actual + ".\nxcodebuild ignored " + setting +
                        ", which means your target hardcodes " + key +
                        " in a checked-in Info.plist instead of referencing the build setting.");
        fixes.push_back("set " + key + " to $(" + setting + ")");
    };
    add(ignored.buildNumber, "build number", "CURRENT_PROJECT_VERSION", "CFBundleVersion");
    add(ignored.marketingVersion, "marketing version", "MARKETING_VERSION", "CFBundleShortVersionString");
    parts.push_back(
        "Fix: " + joined(fixes, " and ") +
        " in your Info.plist, or enable \"Generate Info.plist File\" (GENERATE_INFOPLIST_FILE = YES) in the target's build settings.");
    return {"build_version_override_ignored", joined(parts, "\n")};
}

CLIError CLIError::notAuthenticated() { return CLIError(halvo::notAuthenticated()); }

std::string CLIError::xcodebuildReport(const std::string& details) {
    std::vector<std::string> lines;
    for (const std::string& line : split(details, '\n'))
        if (const std::string_view text = trimmed(line); !text.empty())
            lines.emplace_back(text);
    std::vector<std::string> errors;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(errors),
                 [](const std::string& line) { return containsIgnoringCase(line, "error"); });
    std::vector<std::string>& chosen = errors.empty() ? lines : errors;
    if (chosen.empty())
        return "";
    const auto first = chosen.end() - static_cast<std::ptrdiff_t>(std::min<std::size_t>(3, chosen.size()));
    return "\n\nxcodebuild reported:\n" + joined({first, chosen.end()}, "\n");
}

void to_json(nlohmann::json& json, const CLIError& error) {
    json = {{"code", error.code}, {"message", error.description()}};
}

} // namespace halvo
