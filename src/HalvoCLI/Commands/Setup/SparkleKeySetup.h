#pragma once

#include "Commands/Setup/SetupOptions.h"

#include <Base/Failure.h>
#include <Ed25519/PrivateKey.h>
#include <KeyChain/KeyChainStore.h>
#include <Terminal/Terminal.h>

#include <string>
#include <variant>

namespace halvo {

/// What stops the set-up of an app.
class SetupError : public Failure {
public:
    /// A new key would take the place of one that users' copies of the app trust.
    struct SparkleKeyAlreadyExists {
        std::string bundleIdentifier{};
    };
    using Case = std::variant<SparkleKeyAlreadyExists>;
    explicit SetupError(Case problem) : Failure(describe(problem)), which(std::move(problem)) {}
    Case which;

private:
    static std::string describe(const Case& which);
};

/// The public half of the key that signs an app's updates.
struct SparkleKey {
    std::string publicKey{}; ///< base64
    bool isNew = false;      ///< made in this run
};

/// The key of `--sparkle-key`, read; absent without the option. Throws Failure and Ed25519Error when it is
/// no key.
std::optional<PrivateKey> readSparkleKey(const SetupOptions& options);

/// Gives the keychain a key for the app: the given one, one that is stored already, one of
/// Sparkle's own tool that the person agrees to import, or a new one. Throws SetupError, KeychainError,
/// Ed25519Error and PromptError.
SparkleKey resolveSparkleKey(const std::optional<PrivateKey>& given, bool generate,
                             const std::string& bundleIdentifier, KeyChainStore& keyChain,
                             Terminal& terminal);

} // namespace halvo
