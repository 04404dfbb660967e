#include "Commands/Release/ReleaseCredentials.h"

#include "Commands/Release/ReleaseResults.h"

#include <Base/Base64.h>

namespace halvo {
namespace {

CLIError signingKeyNotFound(const BundleInfo& app) {
    std::string message = "No Sparkle signing key for " + app.identifier +
                          ". Provide --sparkle-private-key or set SPARKLE_PRIVATE_KEY (base64), or run "
                          "`halvo export sparkle-key -b " +
                          app.identifier + "` on a machine that has it.";
    if (app.sparklePublicEDKey)
        message += " Installed copies of the app trust the key with the public half " +
                   *app.sparklePublicEDKey + " and no other, so a new key is not made.";
    return {"signing_key_not_found", message};
}

void store(KeyChainStore& keyChain, const PrivateKey& key, const std::string& bundle) {
    keyChain.setSparklePrivateKey(key.rawRepresentation(), key.publicKey().rawRepresentation(), bundle);
}

/// The 32 bytes of an app's SUPublicEDKey; absent for an app without one, or with one that no client can
/// read.
std::optional<PublicKey> trustedKey(const BundleInfo& app) {
    const auto bytes = app.sparklePublicEDKey
                           ? decodeBase64(*app.sparklePublicEDKey, Base64Reading::ignoringWhitespace)
                           : std::nullopt;
    return bytes && bytes->size() == std::tuple_size<PublicKey::Raw>() ? std::optional(PublicKey(*bytes))
                                                                       : std::nullopt;
}

/// Refuses a key whose signatures installed copies of the app would refuse. `source` says where it comes
/// from.
PrivateKey fitting(const PrivateKey& key, const BundleInfo& app, const std::string& source) {
    const std::string sample = app.identifier;
    const auto signature = key.signature(viewBytes(sample));
    const PublicKey trusted = trustedKey(app).value_or(key.publicKey());
    if (trusted.isValidSignature(signature, viewBytes(sample)))
        return key;
    if (trusted == key.publicKey())
        throw CLIError(
            "sparkle_key_mismatch",
            "The signing key from " + source + " holds a public half, " + trusted.baseEncoding() +
                ", that does not fit its secret half: no copy of the app would accept its signatures. Bring "
                "an undamaged copy of the key with --sparkle-private-key or SPARKLE_PRIVATE_KEY.");
    throw CLIError("sparkle_key_mismatch",
                   "The signing key does not fit the app, and no installed copy would accept this update. "
                   "The key from " +
                       source + " has the public half " + key.publicKey().baseEncoding() +
                       "; the app's Info.plist has the SUPublicEDKey " + trusted.baseEncoding() +
                       ". Bring the key that belongs to the app with --sparkle-private-key or "
                       "SPARKLE_PRIVATE_KEY (`halvo export sparkle-key -b " +
                       app.identifier +
                       "` prints it on the machine that has it), or, if the app was built with a wrong "
                       "SUPublicEDKey, correct its Info.plist.");
}

} // namespace

std::optional<ASCAuthenticationKey> authenticationKey(const NotarizationCredentials& credentials) {
    const auto* key = std::get_if<NotarizationCredentials::APIKey>(&credentials.value);
    if (key == nullptr)
        return std::nullopt;
    return ASCAuthenticationKey{key->keyID, key->issuer, key->keyData};
}

PrivateKey ReleaseCredentials::getSigningKey(const BundleInfo& app) const {
    const std::string& bundle = app.identifier;
    if (const auto text = firstNonEmpty(options.sparklePrivateKey, environment, "SPARKLE_PRIVATE_KEY")) {
        const auto bytes = decodeBase64(*text, Base64Reading::ignoringWhitespace);
        if (!bytes)
            throw CLIError("invalid_argument", "SPARKLE_PRIVATE_KEY is not valid base64. Get the correct "
                                               "value with `halvo export sparkle-key -b " +
                                                   bundle + "`.");
        const bool isOption = !options.sparklePrivateKey.value_or("").empty();
        return fitting(PrivateKey(*bytes), app, isOption ? "--sparkle-private-key" : "SPARKLE_PRIVATE_KEY");
    }
    if (const auto stored = keyChain.storedSparklePrivateKey(bundle))
        return fitting(PrivateKey(*stored), app, "the keychain");
    if (!keyChain.hasSparklePrivateKey())
        return generateSigningKey(app);
    // A key that Sparkle's own tool made for all apps of this machine.
    const PrivateKey key =
        fitting(PrivateKey(keyChain.getSparklePrivateKey("ed25519")), app, "Sparkle's entry in the keychain");
    store(keyChain, key, bundle);
    return key;
}

PrivateKey ReleaseCredentials::generateSigningKey(const BundleInfo& app) const {
    const bool canAsk =
        context.interactive() && context.format() == OutputFormat::text && context.noora().interactive();
    if (!canAsk || app.sparklePublicEDKey ||
        !context.confirm("Seems like you don't have a key pair to sign your app. Would you like me to "
                         "generate one for you?",
                         false))
        throw signingKeyNotFound(app);
    const PrivateKey key = PrivateKey::generate();
    store(keyChain, key, app.identifier);
    context.noora().warning({backUpSparkleKeyAlert(app.identifier)});
    return key;
}

std::optional<NotarizationCredentials> ReleaseCredentials::resolveNotarizationCredentials() const {
    const auto keyID = firstNonEmpty(options.ascAPIKeyID, environment, "ASC_API_KEY_ID");
    const auto issuer = firstNonEmpty(options.ascAPIIssuer, environment, "ASC_API_ISSUER");
    const auto key = firstNonEmpty(options.ascAPIKey, environment, "ASC_API_KEY");
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
