#include "Commands/Release/HostedRelease.h"

#include "ServiceFailure.h"

#include <HalvoCore/ServerAppRepository.h>

#include <algorithm>

namespace halvo {

ServerApp findHostedApp(APIClient& apiClient, const BundleInfo& bundleInfo) {
    const auto apps = requireLogin([&] { return ServerAppRepository(apiClient).list(); });
    const auto app = std::ranges::find(apps, bundleInfo.identifier, &ServerApp::bundleIdentifier);
    if (app == apps.end())
        throw CLIError("app_not_configured",
                       "App \"" + bundleInfo.name + "\" (" + bundleInfo.identifier +
                           ") not found. Run `halvo setup` to register it, or pass the S3 destination "
                           "directly (--s3-bucket, --s3-region, --s3-public-url, or HALVO_S3_* environment "
                           "variables).");
    return *app;
}

std::string unfinishedReleaseHint(const HalvoReleaseUploader& uploader, const BundleInfo& bundleInfo) {
    const auto& release = uploader.unfinishedRelease();
    if (!release)
        return "";
    return "\nThe service holds a record of this release, perhaps without its file, and refuses its version "
           "again until `halvo releases delete " +
           release->string() + " -b " + bundleInfo.identifier + "` has removed it.";
}

} // namespace halvo
