#include <HalvoCore/LocalAppRepository.h>

#include <Models/JSONFields.h>

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
    const auto stored = storage.get(storageKey);
    if (!stored)
        return {};
    try {
        return decodeJSON<std::vector<LocalApp>>(*stored);
    } catch (const ModelError&) {
        return {}; // a list of another shape counts as none
    }
}

std::optional<LocalApp> LocalAppRepository::fetchStored(const std::string& bundleIdentifier) {
    for (LocalApp& app : listStored())
        if (app.bundleIdentifier == bundleIdentifier)
            return std::move(app);
    return std::nullopt;
}

void LocalAppRepository::store(const std::vector<LocalApp>& apps) {
    storage.set(encodeJSON(apps), storageKey);
}

LocalApp LocalAppRepository::create(const LocalApp& app) {
    std::vector<LocalApp> apps = listStored();
    apps.push_back(app);
    store(apps);
    return app;
}

LocalApp LocalAppRepository::update(const LocalApp& app) {
    std::vector<LocalApp> apps = listStored();
    for (LocalApp& stored : apps)
        if (stored.id == app.id)
            stored = app;
    store(apps);
    return app;
}

void LocalAppRepository::remove(const LocalApp& app) {
    std::vector<LocalApp> apps = listStored();
    std::erase_if(apps, [&](const LocalApp& stored) { return stored.id == app.id; });
    store(apps);
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
