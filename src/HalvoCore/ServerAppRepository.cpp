#include <HalvoCore/ServerAppRepository.h>

#include <Platform/Files.h>

#include <algorithm>
#include <iterator>

namespace halvo {

std::vector<ServerApp> ServerAppRepository::list() {
    std::vector<ServerApp> apps;
    std::ranges::transform(apiClient.fetchUsersApps(), std::back_inserter(apps), &AppResponse::app);
    return apps;
}

ServerApp ServerAppRepository::fetch(const std::string& bundleIdentifier) {
    return apiClient.fetchApp(bundleIdentifier).app();
}

ServerApp ServerAppRepository::create(const ServerApp& app) {
    return apiClient
        .createApp({.name = app.name,
                    .bundleIdentifier = app.bundleIdentifier,
                    .edDSAPublicKey = app.edDSAPublicKey.value_or("")})
        .app();
}

ServerApp ServerAppRepository::update(const ServerApp& app) {
    return apiClient.updateApp(UpdateAppRequest::editing(app)).app();
}

void ServerAppRepository::remove(const ServerApp& app) { apiClient.deleteApp(app.id); }

ServerApp ServerAppRepository::uploadIcon(const UUID& appID, const URL& iconURL,
                                          const IconConverter& converter) {
    const TemporaryPath png(converter.writePNG(iconURL, 256).filePath());
    return apiClient.uploadAppIcon(png.path(), appID).app();
}

} // namespace halvo
