#pragma once

#include <HalvoCore/AppRepository.h>
#include <HalvoCore/StorageController.h>
#include <Models/App.h>

#include <functional>

namespace halvo {

/// The self-hosted apps of this machine, kept in the settings store under "localApps".
class LocalAppRepository final : public AppRepository<LocalApp> {
public:
    /// Reads the releases of an app from its feed. `list` and `fetch`, which are for front ends that show
    /// apps together with their releases, call it, from several threads.
    using FetchReleases = std::function<std::vector<Release>(const LocalApp&)>;

    explicit LocalAppRepository(StorageControllerProtocol& storage, FetchReleases fetchReleases = {})
        : storage(storage), fetchReleases(std::move(fetchReleases)) {}

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

private:
    void changeRecords(const std::function<void(nlohmann::json& records)>& edit);

    StorageControllerProtocol& storage;
    FetchReleases fetchReleases;
};

} // namespace halvo
