#pragma once

#include <HalvoCore/AppRepository.h>
#include <HalvoCore/AppcastStorage.h>
#include <HalvoCore/StorageController.h>
#include <KeyChain/KeyChainStore.h>
#include <Platform/Clock.h>

#include <functional>
#include <memory>

namespace halvo {

/// Opens the storage that a configuration names.
using AppcastStorageFactory =
    std::function<std::unique_ptr<AppcastStorageProvider>(const S3Configuration&, const S3Credentials&)>;

/// The self-hosted apps of this machine, kept in the settings store under "localApps". Their releases are
/// read from their feeds.
class LocalAppRepository final : public AppRepository<LocalApp> {
public:
    LocalAppRepository(StorageControllerProtocol& storage, KeyChainStore& keyChain,
                       AppcastStorageFactory openStorage, Clock& clock)
        : storage(storage), keyChain(keyChain), openStorage(std::move(openStorage)), clock(clock) {}

    /// As stored, without releases. A record that cannot be read is left out here, and stays in the store.
    std::vector<LocalApp> listStored();
    std::optional<LocalApp> fetchStored(const std::string& bundleIdentifier);

    /// With their releases, fetched side by side, in the stored order. A failure of one fails the list.
    std::vector<LocalApp> list() override;
    /// Throws AppRepositoryError when no app with that identifier is stored.
    LocalApp fetch(const std::string& bundleIdentifier) override;
    LocalApp create(const LocalApp& app) override;
    LocalApp update(const LocalApp& app) override;
    void remove(const LocalApp& app) override;

    /// Empty when no credentials are stored for the app.
    std::vector<Release> fetchReleases(const LocalApp& app);

private:
    void changeRecords(const std::function<void(nlohmann::json& records)>& edit);

    StorageControllerProtocol& storage;
    KeyChainStore& keyChain;
    AppcastStorageFactory openStorage;
    Clock& clock;
};

} // namespace halvo
