#pragma once

#include <Base/Failure.h>

#include <cstdint>
#include <variant>

namespace halvo {

/// A key that is none, or a signature that could not be made.
class Ed25519Error : public Failure {
public:
    /// Raw bytes of a length that no key has.
    struct InvalidKeyLength {
        std::int64_t length = 0;
        bool operator==(const InvalidKeyLength&) const = default;
    };
    struct SigningFailed {
        bool operator==(const SigningFailed&) const = default;
    };
    using Case = std::variant<InvalidKeyLength, SigningFailed>;

    explicit Ed25519Error(Case which) : Failure(describe(which)), which(which) {}

    Case which;

private:
    static std::string describe(const Case& which);
};

} // namespace halvo
