#pragma once

#include <HalvoAPI/APIClient.h>
#include <HalvoCore/ReleaseRepository.h>

namespace halvo {

/// The releases of one app on the hosted service. Failures of the service pass through unchanged.
class ServerReleaseRepository final : public ReleaseRepository {
public:
    ServerReleaseRepository(APIClient& apiClient, const UUID& appID) : apiClient(apiClient), appID(appID) {}

    /// Empty when the account has no such app.
    std::vector<Release> list() override;
    Release update(const Release& release) override;
    void remove(const Release& release) override;

private:
    APIClient& apiClient;
    UUID appID;
};

} // namespace halvo
