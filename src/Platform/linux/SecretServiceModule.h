#pragma once

#include <Platform/KeychainItems.h>

namespace halvo {

struct SecretServiceOptions {
    /// Whether a prompt may come up: it can be seen and answered only in a session with a display.
    bool canPrompt = false;
    std::stop_token cancellation{};
    WarningHandler warn{};
};

/// What the loaded module `secret-service` offers under this name: the keychain items of the session's Secret
/// Service, for the caller to delete, or null when no service answers on the session bus.
using MakeSecretServiceItems = KeychainItems*(const SecretServiceOptions& options);
inline constexpr const char* makeSecretServiceItemsSymbol = "halvoMakeSecretServiceItems";

} // namespace halvo
