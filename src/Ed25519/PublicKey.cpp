#include <Ed25519/PublicKey.h>

#include <Ed25519/Ed25519Error.h>

#include <Base/Base64.h>

#include <algorithm>
#include <memory>
#include <new>

#include <openssl/evp.h>
#include <sodium/crypto_core_ed25519.h>

namespace halvo {
namespace {

constexpr std::size_t signatureSize = 64;

struct FreeKey {
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};

struct FreeContext {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};

PublicKey::Raw checkedLength(ByteView bytes) {
    PublicKey::Raw raw{};
    if (bytes.size() != raw.size())
        throw Ed25519Error(Ed25519Error::InvalidKeyLength{static_cast<std::int64_t>(bytes.size())});
    std::copy(bytes.begin(), bytes.end(), raw.begin());
    return raw;
}

} // namespace

PublicKey::PublicKey(ByteView rawRepresentation) : key(checkedLength(rawRepresentation)) {}

std::string PublicKey::baseEncoding() const { return encodeBase64(key); }

bool PublicKey::isValidSignature(ByteView signature, ByteView message) const {
    // OpenSSL takes any encoding that names a curve point. Every key that was made honestly is the one
    // encoding of a point of the prime-order group; the others serve forgers only.
    if (signature.size() != signatureSize || crypto_core_ed25519_is_valid_point(key.data()) != 1)
        return false;
    const std::unique_ptr<EVP_PKEY, FreeKey> handle(
        EVP_PKEY_new_raw_public_key(EVP_PKEY_ED25519, nullptr, key.data(), key.size()));
    const std::unique_ptr<EVP_MD_CTX, FreeContext> context(EVP_MD_CTX_new());
    if (!handle || !context)
        throw std::bad_alloc();
    return EVP_DigestVerifyInit(context.get(), nullptr, nullptr, nullptr, handle.get()) == 1 &&
           EVP_DigestVerify(context.get(), signature.data(), signature.size(), message.data(),
                            message.size()) == 1;
}

} // namespace halvo
