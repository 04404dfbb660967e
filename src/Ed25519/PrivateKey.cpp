#include <Ed25519/PrivateKey.h>

#include <Base/Base64.h>

#include <algorithm>
#include <memory>
#include <new>
#include <utility>

#include <openssl/evp.h>
#include <sodium/core.h>
#include <sodium/crypto_core_ed25519.h>
#include <sodium/crypto_scalarmult_ed25519.h>
#include <sodium/randombytes.h>
#include <sodium/utils.h>

namespace halvo {
namespace {

constexpr std::size_t hashSize = 64;
/// How much is hashed before cancellation is looked at and progress reported: about 10 ms.
constexpr std::size_t chunkSize = std::size_t{4} << 20;

using Point = std::array<std::uint8_t, crypto_core_ed25519_BYTES>;
/// An integer modulo the group order, little-endian. The secret scalar and the nonce are such.
using Scalar = SecretBytes<crypto_core_ed25519_SCALARBYTES>;

/// Follows one message through the hashing passes of a signature.
class Hashing {
public:
    Hashing(std::size_t total, const std::stop_token& cancellation, const PrivateKey::Progress& progress)
        : total(total), cancellation(cancellation), progress(progress) {}

    void advance(std::size_t count) {
        done += count;
        if (progress)
            progress(done, total);
        if (cancellation.stop_requested())
            throw CancelledError();
    }

private:
    std::uint64_t done = 0;
    std::uint64_t total;
    const std::stop_token& cancellation;
    const PrivateKey::Progress& progress;
};

class SHA512 {
public:
    SHA512() : context(EVP_MD_CTX_new()) {
        if (!context || EVP_DigestInit_ex(context.get(), EVP_sha512(), nullptr) != 1)
            throw std::bad_alloc();
    }

    void update(ByteView bytes) {
        if (EVP_DigestUpdate(context.get(), bytes.data(), bytes.size()) != 1)
            throw Ed25519Error(Ed25519Error::SigningFailed{});
    }

    void update(ByteView message, Hashing& hashing) {
        while (!message.empty()) {
            const ByteView chunk = message.first(std::min(chunkSize, message.size()));
            update(chunk);
            message = message.subspan(chunk.size());
            hashing.advance(chunk.size());
        }
    }

    SecretBytes<hashSize> finish() {
        SecretBytes<hashSize> digest;
        if (EVP_DigestFinal_ex(context.get(), digest.bytes.data(), nullptr) != 1)
            throw Ed25519Error(Ed25519Error::SigningFailed{});
        return digest;
    }

private:
    struct Free {
        void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
    };
    std::unique_ptr<EVP_MD_CTX, Free> context;
};

Scalar reduced(const SecretBytes<hashSize>& digest) {
    Scalar scalar;
    crypto_core_ed25519_scalar_reduce(scalar.bytes.data(), digest.bytes.data());
    return scalar;
}

Point timesBasePoint(const ByteView scalar) {
    Point point{};
    if (crypto_scalarmult_ed25519_base_noclamp(point.data(), scalar.data()) != 0)
        throw Ed25519Error(Ed25519Error::SigningFailed{}); // the scalar is zero
    return point;
}

/// RFC 8032, section 5.1.5, steps 1 and 2: scalar and prefix from the seed.
SecretBytes<hashSize> expanded(const SecretBytes<32>& seed) {
    SHA512 hash;
    hash.update(seed.bytes);
    auto key = hash.finish();
    key.bytes[0] &= 0xF8;
    key.bytes[31] &= 0x7F;
    key.bytes[31] |= 0x40;
    return key;
}

/// What signing works with, whatever the form of the key.
struct SigningKey {
    SecretBytes<64> extendedKey;
    Point publicKey;

    ByteView scalar() const { return ByteView(extendedKey.bytes).first(32); }
    ByteView prefix() const { return ByteView(extendedKey.bytes).last(32); }
};

SigningKey signingKey(const PrivateKey::Storage& storage) {
    if (const auto* legacy = std::get_if<PrivateKey::Legacy>(&storage))
        return {legacy->extendedKey, legacy->publicKey};
    SigningKey key{expanded(std::get<PrivateKey::Modern>(storage).seed), {}};
    key.publicKey = timesBasePoint(key.scalar());
    return key;
}

PrivateKey::Storage readStorage(ByteView raw) {
    if (raw.size() == 96) {
        PrivateKey::Legacy legacy;
        std::copy_n(raw.begin(), 64, legacy.extendedKey.bytes.begin());
        std::copy_n(raw.begin() + 64, 32, legacy.publicKey.begin());
        return legacy;
    }
    if (raw.size() == 32) {
        PrivateKey::Modern modern;
        std::copy(raw.begin(), raw.end(), modern.seed.bytes.begin());
        return modern;
    }
    throw Ed25519Error(Ed25519Error::InvalidKeyLength{static_cast<std::int64_t>(raw.size())});
}

} // namespace

void wipe(std::span<std::uint8_t> memory) noexcept { sodium_memzero(memory.data(), memory.size()); }

PrivateKey PrivateKey::generate() {
    if (sodium_init() < 0)
        throw Failure("The system's random source cannot be read.");
    SecretBytes<32> seed;
    randombytes_buf(seed.bytes.data(), seed.bytes.size());
    return PrivateKey(seed.bytes);
}

PrivateKey::PrivateKey(ByteView rawRepresentation) : held(readStorage(rawRepresentation)) {}

std::optional<PrivateKey> PrivateKey::fromRawValue(ByteView rawValue) {
    if (rawValue.size() != 32 && rawValue.size() != 96)
        return std::nullopt;
    return PrivateKey(rawValue);
}

Bytes PrivateKey::rawRepresentation() const {
    if (const auto* modern = std::get_if<Modern>(&held))
        return {modern->seed.bytes.begin(), modern->seed.bytes.end()};
    const auto& legacy = std::get<Legacy>(held);
    Bytes raw;
    raw.reserve(96); // no reallocation that would leave a copy behind
    raw.insert(raw.end(), legacy.extendedKey.bytes.begin(), legacy.extendedKey.bytes.end());
    raw.insert(raw.end(), legacy.publicKey.begin(), legacy.publicKey.end());
    return raw;
}

std::string PrivateKey::baseEncoding() const {
    Bytes raw = rawRepresentation();
    std::string text = encodeBase64(raw);
    wipe(raw);
    return text;
}

PublicKey PrivateKey::publicKey() const {
    if (const auto* legacy = std::get_if<Legacy>(&held))
        return PublicKey(legacy->publicKey);
    return PublicKey(signingKey(held).publicKey);
}

// RFC 8032, section 5.1.6, from step 2 on.
PrivateKey::Signature PrivateKey::signature(ByteView message, const std::stop_token& cancellation,
                                            const Progress& progress) const {
    if (message.empty() && std::holds_alternative<Legacy>(held))
        throw Ed25519Error(Ed25519Error::SigningFailed{});
    const SigningKey key = signingKey(held);
    Hashing hashing(2 * message.size(), cancellation, progress);

    SHA512 nonceHash;
    nonceHash.update(key.prefix());
    nonceHash.update(message, hashing);
    const Scalar nonce = reduced(nonceHash.finish());
    const Point commitment = timesBasePoint(nonce.bytes);

    SHA512 challengeHash;
    challengeHash.update(commitment);
    challengeHash.update(key.publicKey);
    challengeHash.update(message, hashing);
    const Scalar challenge = reduced(challengeHash.finish());

    Scalar response;
    crypto_core_ed25519_scalar_mul(response.bytes.data(), challenge.bytes.data(), key.scalar().data());
    crypto_core_ed25519_scalar_add(response.bytes.data(), response.bytes.data(), nonce.bytes.data());

    Signature signature{};
    std::copy(commitment.begin(), commitment.end(), signature.begin());
    std::copy(response.bytes.begin(), response.bytes.end(), signature.begin() + 32);
    return signature;
}

bool PrivateKey::operator==(const PrivateKey& other) const {
    Bytes mine = rawRepresentation();
    Bytes theirs = other.rawRepresentation();
    const bool equal =
        mine.size() == theirs.size() && sodium_memcmp(mine.data(), theirs.data(), mine.size()) == 0;
    wipe(mine);
    wipe(theirs);
    return equal;
}

} // namespace halvo
