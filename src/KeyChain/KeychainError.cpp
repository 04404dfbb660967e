#include <KeyChain/KeychainError.h>

namespace halvo {
namespace {

struct Description {
    const std::string& systemMessage;

    std::string statusText(std::int32_t status) const {
        return systemMessage + " (OSStatus " + std::to_string(status) + ")";
    }

    std::string operator()(const KeychainError::ItemNotFound& error) const {
        return "No item for " + error.account + " in the keychain.";
    }
    std::string operator()(const KeychainError::ItemAlreadyExists& error) const {
        return "An item for " + error.account + " already exists in the keychain.";
    }
    std::string operator()(const KeychainError::UnableToStoreItem& error) const {
        return "Couldn't save the item to the keychain. " + statusText(error.status);
    }
    std::string operator()(const KeychainError::UnableToUpdateItem& error) const {
        return "Couldn't update the keychain item. " + statusText(error.status);
    }
    std::string operator()(const KeychainError::UnknownKeychainError& error) const {
        return statusText(error.status);
    }
    std::string operator()(const KeychainError::AuthenticationFailed&) const {
        return "Keychain access was denied. Try again and allow access when macOS asks.";
    }
    std::string operator()(const KeychainError::UserCanceled&) const {
        return "Keychain access was canceled. Try again and allow access when macOS asks.";
    }
    std::string operator()(const KeychainError::InteractionNotAllowed&) const {
        return "macOS can't show the keychain prompt right now. Unlock your Mac and try again from a "
               "logged-in "
               "desktop session.";
    }
    std::string operator()(const KeychainError::UnableToDecodeData&) const {
        return "The keychain item contains data that can't be read.";
    }
    std::string operator()(const KeychainError::InvalidBase64Encoding&) const {
        return "The key isn't valid base64.";
    }
};

} // namespace

KeychainError::KeychainError(Case which, const std::string& systemMessage)
    : Failure(describe(which, systemMessage)), which(std::move(which)) {}

std::string KeychainError::describe(const Case& which, const std::string& systemMessage) {
    return std::visit(Description{systemMessage}, which);
}

} // namespace halvo
