#include "Commands/Setup/SparkleKeySetup.h"

#include "Commands/Release/ReleaseResults.h"

#include <Base/Base64.h>

namespace halvo {
namespace {

std::string store(const PrivateKey& key, const std::string& bundle, KeyChainStore& keyChain) {
    keyChain.setSparklePrivateKey(key.rawRepresentation(), key.publicKey().rawRepresentation(), bundle);
    return key.publicKey().baseEncoding();
}

SparkleKey makeKey(const std::string& bundle, KeyChainStore& keyChain, Terminal& terminal) {
    const std::string publicKey = store(PrivateKey::generate(), bundle, keyChain);
    terminal.warning({backUpSparkleKeyAlert(bundle)});
    return {.publicKey = publicKey, .isNew = true};
}

} // namespace

std::string SetupError::describe(const Case& which) {
    const std::string& bundle = std::get<SparkleKeyAlreadyExists>(which).bundleIdentifier;
    return "A Sparkle signing key for " + bundle +
           " is already in the keychain. Run `halvo setup` without --generate-sparkle-key to use it. `halvo export sparkle-key -b " +
           bundle + "` shows it.";
}

std::optional<PrivateKey> readSparkleKey(const SetupOptions& options) {
    if (!options.sparkleKey)
        return std::nullopt;
    const auto bytes = decodeBase64(*options.sparkleKey, Base64Reading::ignoringWhitespace);
    if (!bytes)
        throw Failure("--sparkle-key is not valid base64.");
    return PrivateKey(*bytes);
}

SparkleKey resolveSparkleKey(const std::optional<PrivateKey>& given, bool generate, const std::string& bundle,
                             KeyChainStore& keyChain, Terminal& terminal) {
    const auto stored = keyChain.storedSparklePrivateKey(bundle);
    if (given && (!stored || PrivateKey(*stored) == *given))
        return {.publicKey = store(*given, bundle, keyChain)};
    if (stored && (given || generate)) // installed copies may trust it alone
        throw SetupError(SetupError::SparkleKeyAlreadyExists{bundle});
    if (stored)
        return {.publicKey = PrivateKey(*stored).publicKey().baseEncoding()};
    const YesOrNoQuestion import{
        .question = "Found an existing Sparkle signing key. Import it for this app?",
        .hint = "Pass --sparkle-key with the key to use, or --generate-sparkle-key to make a new one."};
    if (!generate && keyChain.hasSparklePrivateKey() && terminal.yesOrNoChoicePrompt(import))
        return {.publicKey = store(PrivateKey(keyChain.getSparklePrivateKey("ed25519")), bundle, keyChain)};
    return makeKey(bundle, keyChain, terminal);
}

} // namespace halvo
