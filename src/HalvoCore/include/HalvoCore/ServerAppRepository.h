#pragma once

#include <HalvoAPI/APIClient.h>
#include <HalvoCore/AppRepository.h>
#include <HalvoCore/IconConverter.h>

namespace halvo {

/// The apps that the hosted service holds for this account. Failures of the service pass through unchanged.
class ServerAppRepository final : public AppRepository<ServerApp> {
public:
    explicit ServerAppRepository(APIClient& apiClient) : apiClient(apiClient) {}

    std::vector<ServerApp> list() override;
    ServerApp fetch(const std::string& bundleIdentifier) override;
    /// Sends name, bundle identifier and public key, and gives the app as the service made it.
    ServerApp create(const ServerApp& app) override;
    ServerApp update(const ServerApp& app) override;
    void remove(const ServerApp& app) override;

    /// Sends the icon as a PNG of 256 by 256 pixels, and gives the app as it is then. Throws
    /// IconConverter::Error too.
    ServerApp uploadIcon(const UUID& appID, const URL& iconURL, const IconConverter& converter);

private:
    APIClient& apiClient;
};

} // namespace halvo
