#include <Ed25519/Ed25519Error.h>

namespace halvo {

std::string Ed25519Error::describe(const Case& which) {
    if (const auto* invalid = std::get_if<InvalidKeyLength>(&which))
        return "A key of " + std::to_string(invalid->length) +
               " bytes is no Ed25519 key: a private key has 32 or 96 bytes, a public key 32.";
    return "The message could not be signed.";
}

} // namespace halvo
