#pragma once

#include <Base/Bytes.h>
#include <KeyChain/KeychainError.h>
#include <Models/StorageConfiguration.h>

#include <optional>
#include <string>

namespace halvo {

/// The secrets of this program: the API token of the hosted service, and for each app, named by its bundle
/// identifier, the key that signs its updates and its S3 credentials. Also reads the key that Sparkle's own
/// key tool keeps. Every operation goes to the keychain afresh, may wait for the user, and throws
/// KeychainError.
class KeyChainStore {
public:
    virtual ~KeyChainStore() = default;

    /// The key that Sparkle's own tool keeps under that account: the raw bytes of the private key.
    virtual Bytes getSparklePrivateKey(const std::string& account) = 0;
    /// Whether Sparkle's own tool keeps a key under its usual account.
    virtual bool hasSparklePrivateKey() = 0;

    virtual std::string getAPIToken() = 0;
    virtual void setAPIToken(const std::string& token) = 0;
    /// Removing what is not there is no failure, here and for the S3 credentials.
    virtual void deleteAPIToken() = 0;

    /// The raw bytes of an app's private key.
    virtual Bytes getSparklePrivateKeyFor(const std::string& bundleIdentifier) = 0;
    /// Takes the raw bytes of both halves; the public one goes along so that people can tell keys apart.
    virtual void setSparklePrivateKey(ByteView privateKeyData, ByteView publicKeyData,
                                      const std::string& bundleIdentifier) = 0;

    /// Stored credentials of another form throw a Failure that is no KeychainError.
    virtual S3Credentials getS3Credentials(const std::string& bundleIdentifier) = 0;
    virtual void setS3Credentials(const S3Credentials& credentials, const std::string& bundleIdentifier) = 0;
    virtual void deleteS3Credentials(const std::string& bundleIdentifier) = 0;

    /// The key that Sparkle's own tool keeps under its usual account, "ed25519".
    Bytes getSparklePrivateKey();
    /// The key of an app, absent when there is none. Every other failure is thrown.
    std::optional<Bytes> storedSparklePrivateKey(const std::string& bundleIdentifier);
};

} // namespace halvo
