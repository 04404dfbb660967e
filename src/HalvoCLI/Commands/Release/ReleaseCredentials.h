#pragma once

#include "Commands/Release/ReleaseOptions.h"
#include "Output/OutputContext.h"

#include <Ed25519/PrivateKey.h>
#include <HalvoNotarization/ASCAuthenticationKey.h>
#include <KeyChain/KeyChainStore.h>
#include <Models/Notarization.h>
#include <Models/StorageConfiguration.h>

#include <optional>
#include <string>

namespace halvo {

/// The keys of a bucket, with the session token of temporary keys.
struct S3Access {
    S3Credentials credentials{};
    std::optional<std::string> sessionToken{};
};

/// The App Store Connect key as xcodebuild takes it; absent for a keychain profile, which only notarytool
/// knows.
std::optional<ASCAuthenticationKey> authenticationKey(const NotarizationCredentials& credentials);

/// Looks up each secret of a release: the flag, then the environment, then the keychain. Only a signing key
/// is ever written, when one is taken over or made.
class ReleaseCredentials {
public:
    ReleaseCredentials(const ReleaseOptions& options, const Environment& environment, KeyChainStore& keyChain,
                       const OutputContext& context)
        : options(options), environment(environment), keyChain(keyChain), context(context) {}

    /// Each half of the pair from its flag or variable; when either is missing, the pair of the keychain. The
    /// token of `AWS_SESSION_TOKEN` goes with keys from flags or variables, never with stored ones. Throws
    /// CLIError `app_not_configured` and KeychainError.
    S3Access resolveS3Credentials(const std::string& bundleIdentifier) const;

    /// Throws CLIError (`invalid_argument`, `signing_key_not_found`), Ed25519Error and KeychainError.
    PrivateKey getSigningKey(const std::string& bundleIdentifier) const;

    /// The App Store Connect key; absent when nothing of it is given. Throws CLIError `invalid_argument` when
    /// a part is missing or is no base64.
    std::optional<NotarizationCredentials> resolveNotarizationCredentials() const;

private:
    std::optional<std::string> firstNonEmpty(const std::optional<std::string>& flag,
                                             const char* variable) const;
    PrivateKey generateSigningKey(const std::string& bundleIdentifier) const;

    const ReleaseOptions& options;
    const Environment& environment;
    KeyChainStore& keyChain;
    const OutputContext& context;
};

} // namespace halvo
