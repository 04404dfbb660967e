#include "DependencyContainer.h"

#include <HalvoAPI/ServerURL.h>

namespace halvo {

DependencyContainer::DependencyContainer(Platform& platform)
    : system(platform), keyChainStore(platform.keychainItems), keyChainTokens(keyChainStore),
      tokens(keyChainTokens, platform.environment), storage(platform.userDefaults),
      localAppRepository(storage) {}

APIClient& DependencyContainer::apiClient() {
    if (!client)
        client = std::make_unique<APIClient>(serverURL(system.environment), tokens, system.http, system.log,
                                             system.cancellation);
    return *client;
}

AuthController& DependencyContainer::authController() {
    if (!authentication)
        authentication = std::make_unique<AuthController>(tokens, apiClient(), storage);
    return *authentication;
}

} // namespace halvo
