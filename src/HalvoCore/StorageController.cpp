#include <HalvoCore/StorageController.h>

#include <Models/JSONFields.h>

namespace halvo {
namespace {

std::string releaseSettingsKey(const std::string& bundle) { return "releaseSettings." + bundle; }
std::string xcodeBuildKey(const std::string& bundle) { return "xcodeBuildConfig." + bundle; }
constexpr const char* selectedAppKey = "selectedAppId";
constexpr const char* cachedAppsKey = "cachedApps";

template<typename Value>
std::optional<Value> read(StorageControllerProtocol& storage, const std::string& key) {
    const auto json = storage.get(key);
    if (!json)
        return std::nullopt;
    try {
        return decodeJSON<Value>(*json);
    } catch (const ModelError&) {
        return std::nullopt; // a record of another shape counts as none
    }
}

template<typename Value>
void write(StorageControllerProtocol& storage, const std::optional<Value>& value, const std::string& key) {
    if (value)
        storage.set(encodeJSON(*value), key);
    else
        storage.remove(key);
}

} // namespace

std::optional<ReleaseSettings>
StorageControllerProtocol::getReleaseSettings(const std::string& bundleIdentifier) {
    return read<ReleaseSettings>(*this, releaseSettingsKey(bundleIdentifier));
}

void StorageControllerProtocol::setReleaseSettings(const std::optional<ReleaseSettings>& settings,
                                                   const std::string& bundleIdentifier) {
    write(*this, settings, releaseSettingsKey(bundleIdentifier));
}

std::optional<XcodeBuildConfiguration>
StorageControllerProtocol::getXcodeBuildConfiguration(const std::string& bundleIdentifier) {
    return read<XcodeBuildConfiguration>(*this, xcodeBuildKey(bundleIdentifier));
}

void StorageControllerProtocol::setXcodeBuildConfiguration(
    const std::optional<XcodeBuildConfiguration>& configuration, const std::string& bundleIdentifier) {
    write(*this, configuration, xcodeBuildKey(bundleIdentifier));
}

std::optional<UUID> StorageControllerProtocol::getSelectedAppId() {
    return read<UUID>(*this, selectedAppKey);
}

void StorageControllerProtocol::setSelectedAppId(const std::optional<UUID>& id) {
    write(*this, id, selectedAppKey);
}

std::optional<std::vector<App>> StorageControllerProtocol::getCachedApps() {
    return read<std::vector<App>>(*this, cachedAppsKey);
}

void StorageControllerProtocol::setCachedApps(const std::vector<App>& apps) {
    write(*this, std::optional(apps), cachedAppsKey);
}

void UserDefaultsStorageController::set(const nlohmann::json& value, const std::string& key) {
    defaults.set(key, value);
}

std::optional<nlohmann::json> UserDefaultsStorageController::get(const std::string& key) {
    return defaults.value(key);
}

void UserDefaultsStorageController::remove(const std::string& key) { defaults.remove(key); }

void UserDefaultsStorageController::change(const std::string& key, const UserDefaults::Edit& edit) {
    defaults.change(key, edit);
}

} // namespace halvo
