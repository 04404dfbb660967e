#pragma once

#include <HalvoAPI/APIClient.h>
#include <HalvoCore/AuthController.h>
#include <HalvoCore/LocalAppRepository.h>
#include <HalvoCore/StorageController.h>
#include <HalvoCore/TokenController.h>
#include <KeyChain/MacKeyChainStore.h>
#include <Platform/Platform.h>

#include <memory>

namespace halvo {

/// The services behind the commands that reach the hosted service, wired in one place. Making one reads
/// nothing; what needs the service's address is made when first asked for.
class DependencyContainer {
public:
    explicit DependencyContainer(Platform& platform);
    DependencyContainer(const DependencyContainer&) = delete;
    DependencyContainer& operator=(const DependencyContainer&) = delete;

    KeyChainStore& keyChain() { return keyChainStore; }
    StorageControllerProtocol& storageController() { return storage; }
    EnvironmentTokenController& tokenController() { return tokens; }
    LocalAppRepository& localApps() { return localAppRepository; }
    Platform& platform() { return system; }

    /// Throws ServerURLError when `HALVO_SERVER_URL` cannot be used.
    APIClient& apiClient();
    /// Throws as `apiClient` does.
    AuthController& authController();

private:
    Platform& system;
    MacKeyChainStore keyChainStore;
    KeyChainTokenController keyChainTokens;
    EnvironmentTokenController tokens;
    UserDefaultsStorageController storage;
    LocalAppRepository localAppRepository;
    std::unique_ptr<APIClient> client;
    std::unique_ptr<AuthController> authentication;
};

} // namespace halvo
