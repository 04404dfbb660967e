#pragma once

#include <Base/Failure.h>

#include <cstdint>
#include <variant>

namespace halvo {

/// A key that is none, or a signature that could not be made.
struct Ed25519ErrorCases {
    /// Raw bytes of a length that no key has.
    struct InvalidKeyLength {
        std::int64_t length = 0;
        std::string description() const {
            return "A key of " + std::to_string(length) +
                   " bytes is not an Ed25519 key: a private key has 32 or 96 bytes, a public key 32.";
        }
    };
    struct SigningFailed {
        std::string description() const { return "The message could not be signed."; }
    };
    using Case = std::variant<InvalidKeyLength, SigningFailed>;
};
using Ed25519Error = FailureOf<Ed25519ErrorCases>;

} // namespace halvo
