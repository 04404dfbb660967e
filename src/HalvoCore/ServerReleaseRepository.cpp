#include <HalvoCore/ServerReleaseRepository.h>

#include <algorithm>

namespace halvo {

std::vector<Release> ServerReleaseRepository::list() {
    const std::vector<ServerApp> apps = apiClient.fetchUsersApps();
    const auto app = std::ranges::find(apps, appID, &ServerApp::id);
    return app == apps.end() ? std::vector<Release>() : app->releases;
}

Release ServerReleaseRepository::update(const Release& release) {
    return apiClient.updateRelease(UpdateReleaseRequest::editing(release));
}

void ServerReleaseRepository::remove(const Release& release) { apiClient.deleteRelease(release.id); }

} // namespace halvo
