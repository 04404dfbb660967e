#pragma once

#include <Base/Failure.h>

#include <cstdint>
#include <string>
#include <variant>

namespace halvo {

/// Why a secret could not be read, stored or removed.
///
/// Only ItemNotFound means that nothing is stored. AuthenticationFailed, UserCanceled and
/// InteractionNotAllowed mean that something is there which cannot be had now.
struct KeychainErrorCases {
    struct ItemNotFound {
        std::string account{};
        std::string description() const { return "No item for " + account + " in the keychain."; }
    };
    struct ItemAlreadyExists {
        std::string account{};
        std::string description() const {
            return "An item for " + account + " already exists in the keychain.";
        }
    };
    /// A status that has no case of its own, with the keychain's sentence for it, which may be empty.
    struct Status {
        std::int32_t status = 0;
        std::string message{};
        std::string description() const { return message + " (OSStatus " + std::to_string(status) + ")"; }
    };
    struct UnableToStoreItem : Status {
        std::string description() const {
            return "Couldn't save the item to the keychain. " + Status::description();
        }
    };
    struct UnableToUpdateItem : Status {
        std::string description() const {
            return "Couldn't update the keychain item. " + Status::description();
        }
    };
    struct UnknownKeychainError : Status {};
    struct AuthenticationFailed {
        std::string description() const {
            return "Keychain access was denied. Try again and allow access when macOS asks.";
        }
    };
    struct UserCanceled {
        std::string description() const {
            return "Keychain access was canceled. Try again and allow access when macOS asks.";
        }
    };
    struct InteractionNotAllowed {
        std::string cause{}; ///< where the keychain is not that of macOS
        std::string description() const {
            if (!cause.empty())
                return cause;
            return "macOS can't show the keychain prompt right now. Unlock your Mac and try again from a logged-in desktop session.";
        }
    };
    struct UnableToDecodeData {
        std::string description() const { return "The keychain item contains data that can't be read."; }
    };
    struct InvalidBase64Encoding {
        std::string description() const { return "The key isn't valid base64."; }
    };
    using Case = std::variant<ItemNotFound, ItemAlreadyExists, UnableToStoreItem, UnableToUpdateItem,
                              UnknownKeychainError, AuthenticationFailed, UserCanceled, InteractionNotAllowed,
                              UnableToDecodeData, InvalidBase64Encoding>;
};
using KeychainError = FailureOf<KeychainErrorCases>;

} // namespace halvo
