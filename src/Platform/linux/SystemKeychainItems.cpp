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

/// The Secret Service and the file, asked with the first operation. An item lies in one of them: what was
/// filed in a session without a keyring is found, changed and removed in one that has a keyring.
class SystemKeychainItems final : public KeychainItems {
public:
    SystemKeychainItems(Environment environment, const std::filesystem::path& path, const Clock& clock,
                        std::stop_token cancellation, WarningHandler warn)
        : environment(std::move(environment)), path(path), cancellation(std::move(cancellation)), warn(warn),
          file(path, clock, std::move(warn)) {}

    KeychainStatus copy(const KeychainQuery& query, KeychainItem& item) override {
        return firstOf([&](KeychainItems& items) { return items.copy(query, item); });
    }
    KeychainStatus exists(const KeychainQuery& query) override {
        return firstOf([&](KeychainItems& items) { return items.exists(query); });
    }
    KeychainStatus update(const KeychainQuery& query, const KeychainItem& item) override {
        return firstOf([&](KeychainItems& items) { return items.update(query, item); });
    }

    KeychainStatus add(const KeychainQuery& query, const KeychainItem& item) override {
        if (KeychainItems* keyring = secretService()) {
            KeychainQuery anyProtocol = query;
            anyProtocol.protocol.reset();
            const KeychainStatus filed = file.exists(anyProtocol);
            return filed == KeychainStatus::success ? KeychainStatus::duplicateItem
                                                    : keyring->add(query, item);
        }
        std::error_code unreadable;
        const bool isFirst = !std::filesystem::exists(path, unreadable);
        const KeychainStatus status = file.add(query, item);
        if (isFirst && status == KeychainStatus::success)
            warn("Secrets are kept unencrypted in " + path.string() + ", which only you can read.");
        return status;
    }

    KeychainStatus remove(const KeychainQuery& query) override {
        const KeychainStatus filed = file.remove(query);
        KeychainItems* keyring = secretService();
        const KeychainStatus status = keyring ? keyring->remove(query) : filed;
        return status == KeychainStatus::itemNotFound ? filed : status;
    }

    std::string message(KeychainStatus status) const override {
        KeychainItems* keyring = secretService();
        return keyring ? keyring->message(status) : file.message(status);
    }

    std::string location() const override {
        KeychainItems* keyring = secretService();
        std::error_code unreadable;
        if (!keyring)
            return file.location();
        return keyring->location() +
               (std::filesystem::exists(path, unreadable) ? ", and " + file.location() : "");
    }

private:
    /// What the keyring answers or, when it does not have the item or cannot be opened, the file. A keyring
    /// that cannot be opened may have the item: its status is the one that counts when the file has not.
    template<typename Operation>
    KeychainStatus firstOf(Operation operation) {
        KeychainItems* keyring = secretService();
        const KeychainStatus status = keyring ? operation(*keyring) : KeychainStatus::itemNotFound;
        if (status == KeychainStatus::success)
            return status;
        const KeychainStatus filed = operation(file);
        return filed == KeychainStatus::success || status == KeychainStatus::itemNotFound ? filed : status;
    }

    /// Null when there is none, or only the file is wanted.
    KeychainItems* secretService() const {
        std::call_once(choosing, [this] { keyring = openSecretService(); });
        return keyring.get();
    }

    std::unique_ptr<KeychainItems> openSecretService() const {
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
            warn(failure.description() + " Secrets are kept in " + path.string() + " meanwhile.");
            return nullptr;
        }
    }

    Environment environment;
    std::filesystem::path path;
    std::stop_token cancellation;
    WarningHandler warn;
    mutable FileKeychainItems file;
    mutable std::once_flag choosing;
    mutable std::unique_ptr<KeychainItems> keyring;
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
