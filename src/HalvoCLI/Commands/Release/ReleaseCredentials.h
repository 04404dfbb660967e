#pragma once

#include "Commands/Release/ReleaseOptions.h"
#include "Output/OutputContext.h"

#include <Ed25519/PrivateKey.h>
#include <HalvoNotarization/ASCAuthenticationKey.h>
#include <KeyChain/KeyChainStore.h>
#include <Models/BundleInfo.h>
#include <Models/Notarization.h>

#include <optional>
#include <string>

namespace halvo {

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

    /// The key that signs updates of the app. Throws CLIError: `sparkle_key_mismatch` when installed copies
    /// of the app trust another key, `signing_key_not_found`, `invalid_argument`.
    PrivateKey getSigningKey(const BundleInfo& app) const;

    /// The App Store Connect key; absent when nothing of it is given. Throws CLIError `invalid_argument` when
    /// a part is missing or is not base64.
    std::optional<NotarizationCredentials> resolveNotarizationCredentials() const;

private:
    PrivateKey generateSigningKey(const BundleInfo& app) const;

    const ReleaseOptions& options;
    const Environment& environment;
    KeyChainStore& keyChain;
    const OutputContext& context;
};

} // namespace halvo
