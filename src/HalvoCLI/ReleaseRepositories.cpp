#include "ReleaseRepositories.h"

#include "ServiceFailure.h"

#include <HalvoCore/AppcastReleaseRepository.h>
#include <HalvoCore/ServerAppRepository.h>
#include <HalvoCore/ServerReleaseRepository.h>

#include <algorithm>

namespace halvo {
namespace {

/// The releases of a self-hosted app, together with the storage that they lie in.
class StoredAppReleases final : public ReleaseRepository {
public:
    StoredAppReleases(const LocalApp& app, DependencyContainer& services)
        : storage(services.storageFactory()(app.storage.s3(),
                                            services.keyChain().getS3Credentials(app.bundleIdentifier))),
          releases(app.name, *storage, app.storage.publicBaseURL(), services.platform().clock) {}

    std::vector<Release> list() override { return releases.list(); }
    Release update(const Release& release) override { return releases.update(release); }
    void remove(const Release& release) override { releases.remove(release); }

private:
    std::unique_ptr<AppcastStorageProvider> storage;
    AppcastReleaseRepository releases;
};

/// The releases of a hosted app; a token that the service refuses is a `not_authenticated`.
class HostedAppReleases final : public ReleaseRepository {
public:
    HostedAppReleases(APIClient& apiClient, const UUID& appID) : releases(apiClient, appID) {}

    std::vector<Release> list() override {
        return requireLogin([&] { return releases.list(); });
    }
    Release update(const Release& release) override {
        return requireLogin([&] { return releases.update(release); });
    }
    void remove(const Release& release) override {
        requireLogin([&] { releases.remove(release); });
    }

private:
    ServerReleaseRepository releases;
};

} // namespace

std::unique_ptr<ReleaseRepository> resolveReleaseRepository(const std::string& bundleIdentifier,
                                                            DependencyContainer& services) {
    if (const auto stored = services.localApps().fetchStored(bundleIdentifier))
        return std::make_unique<StoredAppReleases>(*stored, services);
    requireToken(services);
    const auto apps = requireLogin([&] { return ServerAppRepository(services.apiClient()).list(); });
    const auto app = std::ranges::find(apps, bundleIdentifier, &ServerApp::bundleIdentifier);
    if (app == apps.end())
        throw CLIError("app_not_configured",
                       "App not found: " + bundleIdentifier + ". Run `halvo setup` to register it.");
    return std::make_unique<HostedAppReleases>(services.apiClient(), app->id);
}

std::vector<Release> fetchReleases(const std::string& bundleIdentifier, DependencyContainer& services) {
    return resolveReleaseRepository(bundleIdentifier, services)->list();
}

} // namespace halvo
