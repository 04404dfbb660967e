#include "Commands/Release/ReleasedBuilds.h"

#include "DependencyContainer.h"
#include "ServiceFailure.h"

#include <HalvoCore/AppcastReleaseRepository.h>
#include <HalvoCore/S3AppcastStorage.h>
#include <HalvoCore/ServerAppRepository.h>
#include <HalvoCore/ServerReleaseRepository.h>

#include <algorithm>

namespace halvo {
namespace {

std::vector<Release> fetchHostedReleases(const std::string& bundleIdentifier, APIClient& apiClient) {
    const std::vector<ServerApp> apps = ServerAppRepository(apiClient).list();
    const auto app = std::ranges::find(apps, bundleIdentifier, &ServerApp::bundleIdentifier);
    if (app == apps.end())
        throw CLIError(
            "app_not_configured",
            "App (" + bundleIdentifier +
                ") not found. Run `halvo setup` to register it, or pass the S3 destination directly "
                "(--s3-bucket, --s3-region, --s3-public-url, or HALVO_S3_* environment variables).");
    return ServerReleaseRepository(apiClient, app->id).list();
}

} // namespace

std::vector<Release> fetchReleasedBuilds(const std::string& bundleIdentifier,
                                         const ReleaseCredentials& credentials, LocalAppRepository& localApps,
                                         const S3DestinationOptions& options, Platform& platform) {
    const ReleaseDestination destination =
        resolveReleaseDestination(bundleIdentifier, localApps, options, platform.environment);
    const auto app = localAppOf(destination, {.name = bundleIdentifier, .identifier = bundleIdentifier});
    if (!app) {
        DependencyContainer services(platform);
        requireToken(services);
        return requireLogin([&] { return fetchHostedReleases(bundleIdentifier, services.apiClient()); });
    }
    const S3Access access = credentials.resolveS3Credentials(bundleIdentifier);
    S3AppcastStorage feed(app->storage.s3(), access.credentials, access.sessionToken, platform);
    return AppcastReleaseRepository(app->name, feed, app->storage.publicBaseURL(), platform.clock).list();
}

} // namespace halvo
