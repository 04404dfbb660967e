#pragma once

#include <Models/App.h>
#include <Models/ReleaseSettings.h>
#include <Models/XcodeBuildConfiguration.h>
#include <Platform/UserDefaults.h>

#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// The settings store: one JSON value per key. A stored value that cannot be read as its record counts as
/// absent, so a record of another shape looks like none.
class StorageControllerProtocol {
public:
    virtual ~StorageControllerProtocol() = default;
    virtual void set(const nlohmann::json& value, const std::string& key) = 0;
    virtual std::optional<nlohmann::json> get(const std::string& key) = 0;
    virtual void remove(const std::string& key) = 0;
    /// Reads, edits and writes in one step; null stands for a key that is not there.
    virtual void change(const std::string& key, const UserDefaults::Edit& edit) = 0;

    // Setting an absent value removes the key.
    std::optional<ReleaseSettings> getReleaseSettings(const std::string& bundleIdentifier);
    void setReleaseSettings(const std::optional<ReleaseSettings>& settings,
                            const std::string& bundleIdentifier);
    std::optional<XcodeBuildConfiguration> getXcodeBuildConfiguration(const std::string& bundleIdentifier);
    void setXcodeBuildConfiguration(const std::optional<XcodeBuildConfiguration>& configuration,
                                    const std::string& bundleIdentifier);
    std::optional<UUID> getSelectedAppId();
    void setSelectedAppId(const std::optional<UUID>& id);
    std::optional<std::vector<App>> getCachedApps();
    void setCachedApps(const std::vector<App>& apps);
};

/// The suite of settings that every part of this program shares.
inline constexpr const char* settingsSuiteName = "com.tarnworks.Halvo";

/// The store over the user defaults of one suite.
class UserDefaultsStorageController final : public StorageControllerProtocol {
public:
    explicit UserDefaultsStorageController(UserDefaults& defaults) : defaults(defaults) {}
    void set(const nlohmann::json& value, const std::string& key) override;
    std::optional<nlohmann::json> get(const std::string& key) override;
    void remove(const std::string& key) override;
    void change(const std::string& key, const UserDefaults::Edit& edit) override;

private:
    UserDefaults& defaults;
};

} // namespace halvo
