#include <Models/ReleaseVersionOverride.h>

#include <Models/BundleInfo.h>

namespace halvo {

std::string ReleaseVersionOverrideCases::Ignored::description() const {
    std::string text = "The build ignored the requested version.";
    if (buildNumber)
        text += " Build number: requested " + buildNumber->requested + ", built " + buildNumber->actual + ".";
    if (marketingVersion)
        text += " Marketing version: requested " + marketingVersion->requested + ", built " +
                marketingVersion->actual + ".";
    return text;
}

std::map<std::string, std::string> ReleaseVersionOverride::buildSettings() const {
    std::map<std::string, std::string> settings;
    if (buildNumber)
        settings["CURRENT_PROJECT_VERSION"] = std::to_string(*buildNumber);
    if (marketingVersion)
        settings["MARKETING_VERSION"] = *marketingVersion;
    return settings;
}

void ReleaseVersionOverride::verify(const BundleInfo& info) const {
    ReleaseVersionOverrideError::Ignored ignored;
    if (buildNumber && *buildNumber != info.version)
        ignored.buildNumber = {std::to_string(*buildNumber), std::to_string(info.version)};
    if (marketingVersion && *marketingVersion != info.versionString)
        ignored.marketingVersion = {*marketingVersion, info.versionString};
    if (ignored.buildNumber || ignored.marketingVersion)
        throw ReleaseVersionOverrideError(ignored);
}

} // namespace halvo
