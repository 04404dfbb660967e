#include "Commands/HostedApps.h"

#include <HalvoCore/ServerAppRepository.h>

#include <algorithm>

namespace halvo {

std::optional<std::vector<ServerApp>> listHostedApps(DependencyContainer& services, Terminal& terminal) {
    if (!services.tokenController().getToken())
        return std::nullopt;
    try {
        return terminal.wait("Fetching your apps",
                             [&] { return ServerAppRepository(services.apiClient()).list(); });
    } catch (const APIError& error) {
        if (error.is<APIError::Unauthorized>())
            return std::nullopt;
        throw;
    }
}

const ServerApp* findApp(const std::vector<ServerApp>& apps, const std::string& bundleIdentifier) {
    const auto found = std::ranges::find(apps, bundleIdentifier, &ServerApp::bundleIdentifier);
    return found == apps.end() ? nullptr : &*found;
}

} // namespace halvo
