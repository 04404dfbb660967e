#include <KeyChain/MacKeyChainStore.h>

#include <Base/Base64.h>
#include <Base/Unicode.h>
#include <Models/JSONFields.h>

#include <nlohmann/json.hpp>

namespace halvo {
namespace {

using nlohmann::json;

// The names under which items are filed. They are the same on every system and stay as they are: changing one
// would lose what users have stored.
constexpr const char* publicHost = "halvo.example";
constexpr const char* apiTokenAccount = "api-token";

constexpr const char* sparkleServicePrefix = "halvo.sparkle.";
constexpr const char* sparkleAccount = "ed25519"; ///< of Sparkle's own tool, too

constexpr const char* s3ServicePrefix = "halvo.s3.";
constexpr const char* s3Account = "aws-credentials";

/// The service and the protocol under which Sparkle's own key tool files its keys.
constexpr const char* sparkleToolService = "https://sparkle-project.org";
constexpr const char* sparkleToolProtocol = "ssh";

KeychainQuery sparkleToolQuery(const std::string& account) {
    return {.service = sparkleToolService,
            .account = account,
            .domain = KeychainDomain::login,
            .protocol = sparkleToolProtocol};
}

Bytes decodeKey(ByteView text) {
    auto key = decodeBase64(viewText(text));
    if (!key)
        throw KeychainError(KeychainError::InvalidBase64Encoding{});
    return *std::move(key);
}

std::int32_t number(KeychainStatus status) { return static_cast<std::int32_t>(status); }

} // namespace

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

Bytes MacKeyChainStore::getSparklePrivateKey(const std::string& account) {
    return decodeKey(copyItem(sparkleToolQuery(account)).data);
}

bool MacKeyChainStore::hasSparklePrivateKey() {
    const KeychainStatus status = items.exists(sparkleToolQuery(sparkleAccount));
    if (status == KeychainStatus::itemNotFound)
        return false;
    checkRead(status, sparkleAccount);
    return true;
}

std::string MacKeyChainStore::getAPIToken() {
    const Bytes data = getData(publicHost, apiTokenAccount);
    if (!isValidUTF8(viewText(data)))
        throw KeychainError(KeychainError::UnableToDecodeData{});
    return std::string(viewText(data));
}

void MacKeyChainStore::setAPIToken(const std::string& token) {
    if (!isValidUTF8(token))
        throw KeychainError(KeychainError::UnableToDecodeData{});
    addOrUpdate(
        publicHost, apiTokenAccount,
        {.data = copyBytes(token), .attributes = {.label = std::string("API token for ") + publicHost}});
}

void MacKeyChainStore::deleteAPIToken() { deleteItem(publicHost, apiTokenAccount); }

Bytes MacKeyChainStore::getSparklePrivateKeyFor(const std::string& bundleIdentifier) {
    return decodeKey(getData(sparkleServicePrefix + bundleIdentifier, sparkleAccount));
}

void MacKeyChainStore::setSparklePrivateKey(ByteView privateKeyData, ByteView publicKeyData,
                                            const std::string& bundleIdentifier) {
    addOrUpdate(sparkleServicePrefix + bundleIdentifier, sparkleAccount,
                {.data = copyBytes(encodeBase64(privateKeyData)),
                 .attributes = {.label = "Private key for signing Sparkle updates (" + bundleIdentifier + ")",
                                .description = "private key",
                                .comment = encodeBase64(publicKeyData)}});
}

S3Credentials MacKeyChainStore::getS3Credentials(const std::string& bundleIdentifier) {
    const Bytes data = getData(s3ServicePrefix + bundleIdentifier, s3Account);
    const json parsed = json::parse(data.begin(), data.end(), nullptr, false);
    if (parsed.is_discarded()) // the parser's own sentence would quote the secret
        throw Failure("The S3 credentials of " + bundleIdentifier + " in the keychain are not JSON.");
    return decodeJSON<S3Credentials>(parsed);
}

void MacKeyChainStore::setS3Credentials(const S3Credentials& credentials,
                                        const std::string& bundleIdentifier) {
    if (!isValidUTF8(credentials.accessKeyID) || !isValidUTF8(credentials.secretAccessKey))
        throw Failure("The S3 credentials of " + bundleIdentifier + " are not UTF-8 text.");
    addOrUpdate(s3ServicePrefix + bundleIdentifier, s3Account,
                {.data = copyBytes(encodeJSON(credentials).dump()),
                 .attributes = {.label = "AWS credentials for " + bundleIdentifier}});
}

void MacKeyChainStore::deleteS3Credentials(const std::string& bundleIdentifier) {
    deleteItem(s3ServicePrefix + bundleIdentifier, s3Account);
}

KeychainItem MacKeyChainStore::copyItem(const KeychainQuery& query) {
    KeychainItem item;
    const KeychainStatus status = items.copy(query, item);
    checkRead(status, query.account);
    return item;
}

Bytes MacKeyChainStore::getData(const std::string& service, const std::string& account) {
    try {
        return copyItem({.service = service, .account = account}).data;
    } catch (const KeychainError& error) {
        if (!error.is<KeychainError::ItemNotFound>())
            throw;
    }
    return migrateLegacyItem(service, account);
}

Bytes MacKeyChainStore::migrateLegacyItem(const std::string& service, const std::string& account) {
    KeychainItem legacy = copyItem({.service = service, .account = account, .domain = KeychainDomain::login});
    addOrUpdate(service, account, legacy);
    return std::move(legacy.data);
}

void MacKeyChainStore::addOrUpdate(const std::string& service, const std::string& account,
                                   const KeychainItem& item) {
    const KeychainQuery query{.service = service, .account = account};
    const KeychainStatus added = items.add(query, item);
    if (added == KeychainStatus::duplicateItem)
        check<KeychainError::UnableToUpdateItem>(items.update(query, item));
    else
        check<KeychainError::UnableToStoreItem>(added);
}

void MacKeyChainStore::deleteItem(const std::string& service, const std::string& account) {
    // Most users have no such item in the login keychain, and some may not open that keychain at all.
    static_cast<void>(
        items.remove({.service = service, .account = account, .domain = KeychainDomain::login}));
    const KeychainStatus status = items.remove({.service = service, .account = account});
    if (status != KeychainStatus::success && status != KeychainStatus::itemNotFound)
        throw KeychainError(KeychainError::UnknownKeychainError{{number(status), items.message(status)}});
}

void MacKeyChainStore::checkRead(KeychainStatus status, const std::string& account) const {
    if (status == KeychainStatus::itemNotFound)
        throw KeychainError(KeychainError::ItemNotFound{account});
    check<KeychainError::UnknownKeychainError>(status);
}

/// Throws the case of a failed status, `Otherwise` for one that has no case of its own.
template<typename Otherwise>
void MacKeyChainStore::check(KeychainStatus status) const {
    switch (status) {
    case KeychainStatus::success: return;
    case KeychainStatus::userCanceled: throw KeychainError(KeychainError::UserCanceled{});
    case KeychainStatus::authFailed: throw KeychainError(KeychainError::AuthenticationFailed{});
    case KeychainStatus::interactionNotAllowed:
        throw KeychainError(KeychainError::InteractionNotAllowed{items.message(status)});
    default: throw KeychainError(Otherwise{{number(status), items.message(status)}});
    }
}

} // namespace halvo
