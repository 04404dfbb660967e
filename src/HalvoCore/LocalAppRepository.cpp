#include <HalvoCore/LocalAppRepository.h>

#include <Models/JSONFields.h>

#include <nlohmann/json.hpp>

#include <algorithm>
#include <atomic>
#include <exception>
#include <thread>

namespace halvo {
namespace {

constexpr const char* storageKey = "localApps";
/// Feeds are small and servers slow: more fetches than cores are under way at once, yet not one for each of
/// hundreds of apps.
constexpr std::size_t parallelFetches = 8;

std::optional<LocalApp> readRecord(const nlohmann::json& record) {
    try {
        return decodeJSON<LocalApp>(record);
    } catch (const ModelError&) {
        return std::nullopt;
    }
}

bool isRecordOf(const LocalApp& app, const nlohmann::json& record) {
    const auto stored = readRecord(record);
    return stored && stored->id == app.id;
}

} // namespace

std::string AppRepositoryError::describe(const Case& which) {
    struct Describer {
        std::string operator()(const AppNotFound& missing) const {
            return "App not found: " + missing.id.string();
        }
        std::string operator()(const NetworkError& error) const {
            return "Network error: " + error.description;
        }
        std::string operator()(const StorageError& error) const { return "Storage error: " + error.text; }
    };
    return std::visit(Describer(), which);
}

std::vector<LocalApp> LocalAppRepository::listStored() {
    std::vector<LocalApp> apps;
    for (const nlohmann::json& record : storage.get(storageKey).value_or(nullptr))
        if (auto app = readRecord(record))
            apps.push_back(*std::move(app));
    return apps;
}

std::optional<LocalApp> LocalAppRepository::fetchStored(const std::string& bundleIdentifier) {
    for (LocalApp& app : listStored())
        if (app.bundleIdentifier == bundleIdentifier)
            return std::move(app);
    return std::nullopt;
}

/// Edits the records under the lock of the settings. Those that cannot be read are of another version, or
/// were damaged by hand: they are carried along as they are.
void LocalAppRepository::changeRecords(const std::function<void(nlohmann::json& records)>& edit) {
    storage.change(storageKey, [&](nlohmann::json& records) {
        if (records.is_null())
            records = nlohmann::json::array();
        else if (!records.is_array())
            records = nlohmann::json::array_t{records};
        edit(records);
    });
}

LocalApp LocalAppRepository::create(const LocalApp& app) {
    changeRecords([&](nlohmann::json& records) { records.push_back(encodeJSON(app)); });
    return app;
}

LocalApp LocalAppRepository::update(const LocalApp& app) {
    changeRecords([&](nlohmann::json& records) {
        for (nlohmann::json& record : records)
            if (isRecordOf(app, record))
                record = encodeJSON(app);
    });
    return app;
}

void LocalAppRepository::remove(const LocalApp& app) {
    changeRecords([&](nlohmann::json& records) {
        std::erase_if(records.get_ref<nlohmann::json::array_t&>(),
                      [&](const nlohmann::json& record) { return isRecordOf(app, record); });
    });
}

LocalApp LocalAppRepository::fetch(const std::string& bundleIdentifier) {
    auto app = fetchStored(bundleIdentifier);
    if (!app)
        throw AppRepositoryError(AppRepositoryError::StorageError{"App not found: " + bundleIdentifier});
    if (fetchReleases)
        app->releases = fetchReleases(*app);
    return *app;
}

std::vector<LocalApp> LocalAppRepository::list() {
    std::vector<LocalApp> apps = listStored();
    if (!fetchReleases)
        return apps;
    std::vector<std::exception_ptr> failures(apps.size());
    std::atomic<std::size_t> next = 0;
    const auto fetchInTurn = [&] {
        for (std::size_t index = next++; index < apps.size(); index = next++) {
            try {
                apps[index].releases = fetchReleases(apps[index]);
            } catch (...) {
                failures[index] = std::current_exception();
            }
        }
    };
    {
        std::vector<std::jthread> threads;
        for (std::size_t count = 0; count < std::min(parallelFetches, apps.size()); ++count)
            threads.emplace_back(fetchInTurn);
    }
    for (const std::exception_ptr& failure : failures)
        if (failure)
            std::rethrow_exception(failure);
    return apps;
}

} // namespace halvo
