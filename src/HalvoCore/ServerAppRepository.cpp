#include <HalvoCore/ServerAppRepository.h>

#include <Platform/Files.h>

namespace halvo {

std::vector<ServerApp> ServerAppRepository::list() { return apiClient.fetchUsersApps(); }

ServerApp ServerAppRepository::fetch(const std::string& bundleIdentifier) {
    return apiClient.fetchApp(bundleIdentifier);
}

ServerApp ServerAppRepository::create(const ServerApp& app) {
    return apiClient.createApp({.name = app.name,
                                .bundleIdentifier = app.bundleIdentifier,
                                .edDSAPublicKey = app.edDSAPublicKey.value_or("")});
}

ServerApp ServerAppRepository::update(const ServerApp& app) {
    return apiClient.updateApp(UpdateAppRequest::editing(app));
}

void ServerAppRepository::remove(const ServerApp& app) { apiClient.deleteApp(app.id); }

ServerApp ServerAppRepository::uploadIcon(const UUID& appID, const URL& iconURL,
                                          const IconConverter& converter) {
    const TemporaryPath png(converter.writePNG(iconURL, 256).filePath());
    return apiClient.uploadAppIcon(png.path(), appID);
}

} // namespace halvo
