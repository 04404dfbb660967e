#pragma once

#include <KeyChain/KeyChainStore.h>
#include <Platform/KeychainItems.h>

namespace halvo {

/// The store over the system's keychain: macOS's own, or what stands in for it.
///
/// Items live in the data protection keychain. One that is found only in the login keychain is copied over
/// when it is read; it stays in the login keychain until it is deleted.
class MacKeyChainStore final : public KeyChainStore {
public:
    explicit MacKeyChainStore(KeychainItems& items) : items(items) {}

    using KeyChainStore::getSparklePrivateKey;
    Bytes getSparklePrivateKey(const std::string& account) override;
    bool hasSparklePrivateKey() override;
    std::string getAPIToken() override;
    void setAPIToken(const std::string& token) override;
    void deleteAPIToken() override;
    Bytes getSparklePrivateKeyFor(const std::string& bundleIdentifier) override;
    void setSparklePrivateKey(ByteView privateKeyData, ByteView publicKeyData,
                              const std::string& bundleIdentifier) override;
    S3Credentials getS3Credentials(const std::string& bundleIdentifier) override;
    void setS3Credentials(const S3Credentials& credentials, const std::string& bundleIdentifier) override;
    void deleteS3Credentials(const std::string& bundleIdentifier) override;

private:
    KeychainItem copyItem(const KeychainQuery& query);
    Bytes getData(const std::string& service, const std::string& account);
    Bytes migrateLegacyItem(const std::string& service, const std::string& account);
    void addOrUpdate(const std::string& service, const std::string& account, const KeychainItem& item);
    void deleteItem(const std::string& service, const std::string& account);
    void checkRead(KeychainStatus status, const std::string& account) const;
    template<typename Otherwise>
    void check(KeychainStatus status) const;

    KeychainItems& items;
};

} // namespace halvo
