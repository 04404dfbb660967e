#include <KeyChain/KeyChainStore.h>

#include "Accounts.h"

namespace halvo {

Bytes KeyChainStore::getSparklePrivateKey() { return getSparklePrivateKey(sparkleAccount); }

std::optional<Bytes> KeyChainStore::storedSparklePrivateKey(const std::string& bundleIdentifier) {
    try {
        return getSparklePrivateKeyFor(bundleIdentifier);
    } catch (const KeychainError& error) {
        if (error.is<KeychainError::ItemNotFound>())
            return std::nullopt;
        throw;
    }
}

} // namespace halvo
