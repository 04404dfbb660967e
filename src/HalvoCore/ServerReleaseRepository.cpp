#include <HalvoCore/ServerReleaseRepository.h>

#include <algorithm>

namespace halvo {

std::vector<Release> ServerReleaseRepository::list() {
    const std::vector<AppResponse> apps = apiClient.fetchUsersApps();
    const auto app = std::ranges::find(apps, appID, &AppResponse::id);
    return app == apps.end() ? std::vector<Release>() : app->app().releases;
}

Release ServerReleaseRepository::update(const Release& release) {
    return apiClient.updateRelease(UpdateReleaseRequest::editing(release)).release();
}

void ServerReleaseRepository::remove(const Release& release) { apiClient.deleteRelease(release.id); }

} // namespace halvo
