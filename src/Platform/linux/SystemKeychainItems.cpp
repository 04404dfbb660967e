#include <Platform/KeychainItems.h>

#include "SecretServiceModule.h"

#include <Base/Failure.h>
#include <Platform/FileKeychainItems.h>
#include <Platform/LoadedModule.h>
#include <Platform/UserDirectories.h>

#include <mutex>

namespace halvo {
namespace {

/// Whether the environment names a session bus. Asked before libsecret is opened, which would otherwise start
/// a bus of its own where there is a display.
bool hasSessionBus(const Environment& environment) {
    if (environment.nonEmpty("DBUS_SESSION_BUS_ADDRESS"))
        return true;
    const auto runtimeFolder = environment.nonEmpty("XDG_RUNTIME_DIR");
    std::error_code ignored; // a folder that cannot be looked into has no bus for us
    return runtimeFolder && std::filesystem::exists(std::filesystem::path(*runtimeFolder) / "bus", ignored);
}

/// Chooses between Secret Service and file with the first operation.
class SystemKeychainItems final : public KeychainItems {
public:
    SystemKeychainItems(Environment environment, std::filesystem::path file, const Clock& clock,
                        std::stop_token cancellation, WarningHandler warn)
        : environment(std::move(environment)), file(std::move(file)), clock(clock),
          cancellation(std::move(cancellation)), warn(std::move(warn)) {}

    KeychainStatus copy(const KeychainQuery& query, KeychainItem& item) override {
        return chosen().copy(query, item);
    }
    KeychainStatus exists(const KeychainQuery& query) override { return chosen().exists(query); }
    KeychainStatus add(const KeychainQuery& query, const KeychainItem& item) override {
        return chosen().add(query, item);
    }
    KeychainStatus update(const KeychainQuery& query, const KeychainItem& item) override {
        return chosen().update(query, item);
    }
    KeychainStatus remove(const KeychainQuery& query) override { return chosen().remove(query); }
    std::string message(KeychainStatus status) const override { return chosen().message(status); }

private:
    KeychainItems& chosen() const {
        std::call_once(choosing, [this] {
            items = secretService();
            if (!items)
                items = std::make_unique<FileKeychainItems>(file, clock, warn);
        });
        return *items;
    }

    std::unique_ptr<KeychainItems> secretService() const {
        const auto wanted = environment.nonEmpty("HALVO_KEYCHAIN");
        if (wanted == "file")
            return nullptr;
        if (wanted)
            warn("HALVO_KEYCHAIN is set to \"" + *wanted +
                 "\" and has no effect: the one value it takes is \"file\".");
        if (!hasSessionBus(environment))
            return nullptr;
        try {
            const LoadedModule module("secret-service");
            const auto make = module.function<MakeSecretServiceItems>(makeSecretServiceItemsSymbol);
            return std::unique_ptr<KeychainItems>(
                make({.canPrompt = environment.nonEmpty("DISPLAY") || environment.nonEmpty("WAYLAND_DISPLAY"),
                      .cancellation = cancellation,
                      .warn = warn}));
        } catch (const Failure& failure) {
            warn(failure.description() + " Secrets are kept in " + file.string() + " meanwhile.");
            return nullptr;
        }
    }

    Environment environment;
    std::filesystem::path file;
    const Clock& clock;
    std::stop_token cancellation;
    WarningHandler warn;
    mutable std::once_flag choosing;
    mutable std::unique_ptr<KeychainItems> items;
};

} // namespace

std::unique_ptr<KeychainItems> makeSystemKeychainItems(const Environment& environment,
                                                       const std::filesystem::path& homeDirectory,
                                                       const Clock& clock, std::stop_token cancellation,
                                                       WarningHandler warn) {
    return std::make_unique<SystemKeychainItems>(
        environment, userDataDirectory(environment, homeDirectory) / "halvo" / "keychain.json", clock,
        std::move(cancellation), std::move(warn));
}

} // namespace halvo
