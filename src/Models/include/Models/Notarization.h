#pragma once

#include <Base/Bytes.h>

#include <string>
#include <variant>

namespace halvo {

/// What notarytool signs in with.
struct NotarizationCredentials {
    /// A profile that was stored in the keychain with `notarytool store-credentials`.
    struct KeychainProfile {
        std::string name;
        bool operator==(const KeychainProfile&) const = default;
    };
    /// An App Store Connect API key.
    struct APIKey {
        std::string keyID;
        std::string issuer;
        Bytes keyData; ///< the private key as its .p8 file holds it; secret
        bool operator==(const APIKey&) const = default;
    };

    std::variant<KeychainProfile, APIKey> value{};

    bool operator==(const NotarizationCredentials&) const = default;
};

/// Whether a release is sent to notarization.
struct NotarizationPolicy {
    struct Notarize {
        NotarizationCredentials credentials;
        bool operator==(const Notarize&) const = default;
    };
    struct Skip {
        bool operator==(const Skip&) const = default;
    };

    std::variant<Notarize, Skip> value = Skip();

    static NotarizationPolicy notarize(NotarizationCredentials credentials) {
        return {Notarize{std::move(credentials)}};
    }
    static NotarizationPolicy skip() { return {Skip()}; }
    /// The credentials to notarize with; null to skip.
    const NotarizationCredentials* credentials() const {
        const auto* notarize = std::get_if<Notarize>(&value);
        return notarize ? &notarize->credentials : nullptr;
    }

    bool operator==(const NotarizationPolicy&) const = default;
};

/// What is expected to be true of a release once it is prepared.
enum class NotarizationAssessment { willNotarize, alreadyNotarized, notNotarized };

/// Whether a person should agree before such a release goes out.
constexpr bool requiresConfirmation(NotarizationAssessment assessment) {
    return assessment == NotarizationAssessment::notNotarized;
}

} // namespace halvo
