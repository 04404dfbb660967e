#include "Commands/Release/ReleaseCredentials.h"

#include "Commands/Release/ReleaseResults.h"

#include <Base/Base64.h>

namespace halvo {
namespace {

constexpr const char* noS3Credentials =
    "No S3 credentials found. Provide --s3-access-key-id and --s3-secret-access-key, set "
    "AWS_ACCESS_KEY_ID/AWS_SECRET_ACCESS_KEY, or store them in Keychain via the macOS app.";

CLIError signingKeyNotFound(const std::string& bundle) {
    return {"signing_key_not_found",
            "No Sparkle signing key for " + bundle +
                ". Provide --sparkle-private-key or set SPARKLE_PRIVATE_KEY (base64), or run "
                "`halvo export sparkle-key -b " +
                bundle + "` on a machine that has it."};
}

void store(KeyChainStore& keyChain, const PrivateKey& key, const std::string& bundle) {
    keyChain.setSparklePrivateKey(key.rawRepresentation(), key.publicKey().rawRepresentation(), bundle);
}

} // namespace

std::optional<ASCAuthenticationKey> authenticationKey(const NotarizationCredentials& credentials) {
    const auto* key = std::get_if<NotarizationCredentials::APIKey>(&credentials.value);
    if (key == nullptr)
        return std::nullopt;
    return ASCAuthenticationKey{key->keyID, key->issuer, key->keyData};
}

std::optional<std::string> ReleaseCredentials::firstNonEmpty(const std::optional<std::string>& flag,
                                                             const char* variable) const {
    if (flag && !flag->empty())
        return flag;
    return environment.nonEmpty(variable);
}

S3Access ReleaseCredentials::resolveS3Credentials(const std::string& bundleIdentifier) const {
    const auto accessKeyID = firstNonEmpty(options.s3AccessKeyID, "AWS_ACCESS_KEY_ID");
    const auto secretAccessKey = firstNonEmpty(options.s3SecretAccessKey, "AWS_SECRET_ACCESS_KEY");
    if (accessKeyID && secretAccessKey)
        return {.credentials = {.accessKeyID = *accessKeyID, .secretAccessKey = *secretAccessKey},
                .sessionToken = environment.nonEmpty("AWS_SESSION_TOKEN")};
    try {
        return {.credentials = keyChain.getS3Credentials(bundleIdentifier)};
    } catch (const KeychainError& error) {
        if (error.is<KeychainError::ItemNotFound>())
            throw CLIError("app_not_configured", noS3Credentials);
        throw;
    }
}

PrivateKey ReleaseCredentials::getSigningKey(const std::string& bundleIdentifier) const {
    if (const auto text = firstNonEmpty(options.sparklePrivateKey, "SPARKLE_PRIVATE_KEY")) {
        const auto bytes = decodeBase64(*text, Base64Reading::ignoringWhitespace);
        if (!bytes)
            throw CLIError("invalid_argument",
                           "SPARKLE_PRIVATE_KEY is not valid base64. Get the correct value with "
                           "`halvo export sparkle-key -b " +
                               bundleIdentifier + "`.");
        return PrivateKey(*bytes);
    }
    if (const auto stored = keyChain.storedSparklePrivateKey(bundleIdentifier))
        return PrivateKey(*stored);
    if (keyChain.hasSparklePrivateKey()) { // a key that Sparkle's own tool made for all apps of this machine
        const PrivateKey key(keyChain.getSparklePrivateKey("ed25519"));
        store(keyChain, key, bundleIdentifier);
        return key;
    }
    return generateSigningKey(bundleIdentifier);
}

PrivateKey ReleaseCredentials::generateSigningKey(const std::string& bundleIdentifier) const {
    if (!context.interactive())
        throw signingKeyNotFound(bundleIdentifier);
    if (!context.confirm("Seems like you don't have a key pair to sign your app. Would you like me to "
                         "generate one for you?",
                         false))
        throw signingKeyNotFound(bundleIdentifier);
    const PrivateKey key = PrivateKey::generate();
    store(keyChain, key, bundleIdentifier);
    context.noora().warning({backUpSparkleKeyAlert(bundleIdentifier)});
    return key;
}

std::optional<NotarizationCredentials> ReleaseCredentials::resolveNotarizationCredentials() const {
    const auto keyID = firstNonEmpty(options.ascAPIKeyID, "ASC_API_KEY_ID");
    const auto issuer = firstNonEmpty(options.ascAPIIssuer, "ASC_API_ISSUER");
    const auto key = firstNonEmpty(options.ascAPIKey, "ASC_API_KEY");
    if (!keyID && !issuer && !key)
        return std::nullopt;
    if (!keyID || !issuer || !key)
        throw CLIError(
            "invalid_argument",
            "Incomplete ASC API key. Provide all of --asc-api-key-id/--asc-api-issuer/--asc-api-key (or "
            "ASC_API_KEY_ID/ASC_API_ISSUER/ASC_API_KEY).");
    const auto bytes = decodeBase64(*key, Base64Reading::ignoringWhitespace);
    if (!bytes)
        throw CLIError("invalid_argument", "ASC_API_KEY is not valid base64. Encode your key with `base64 < "
                                           "AuthKey_XXXXXXXXXX.p8 | pbcopy`.");
    return NotarizationCredentials{NotarizationCredentials::APIKey{*keyID, *issuer, *bytes}};
}

} // namespace halvo
