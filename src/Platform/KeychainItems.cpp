#include <Platform/KeychainItems.h>

namespace halvo {

std::string keychainMessage(KeychainStatus status) {
    switch (status) {
    case KeychainStatus::success: return "No error.";
    case KeychainStatus::userCanceled: return "The user canceled the operation.";
    case KeychainStatus::notAvailable: return "No keychain is available.";
    case KeychainStatus::authFailed: return "The user name or passphrase you entered is not correct.";
    case KeychainStatus::duplicateItem: return "The item already exists in the keychain.";
    case KeychainStatus::itemNotFound: return "The item could not be found in the keychain.";
    case KeychainStatus::interactionNotAllowed: break; // its cause differs from system to system
    case KeychainStatus::decode: return "The stored item could not be decoded.";
    case KeychainStatus::ioError: return "The keychain could not be read or written.";
    }
    return "";
}

} // namespace halvo
