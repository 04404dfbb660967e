#pragma once

#include <Ed25519/Ed25519Error.h>
#include <Ed25519/PublicKey.h>

#include <Base/Bytes.h>

#include <array>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>

namespace halvo {

/// Overwrites memory that held a secret; no compiler leaves this out.
void wipe(std::span<std::uint8_t> memory) noexcept;

/// Bytes of a fixed number that are wiped before their memory is given back.
template<std::size_t count>
struct SecretBytes {
    std::array<std::uint8_t, count> bytes{};

    SecretBytes() = default;
    SecretBytes(const SecretBytes&) = default;
    SecretBytes& operator=(const SecretBytes&) = default;
    ~SecretBytes() { wipe(bytes); }
};

/// The key that signs updates, in one of the two forms in which such keys exist. An immutable value; several
/// threads may use it at once.
///
///     bytes   form      layout
///     32      modern    seed of RFC 8032
///     96      legacy    scalar (32), nonce prefix (32), public key (32): what older key tools wrote
class PrivateKey {
public:
    /// The seed, from which scalar and prefix are derived by SHA-512.
    struct Modern {
        SecretBytes<32> seed{};
    };
    /// The secret after that derivation. It is used as it stands: not clamped again, and not checked against
    /// the public key beside it.
    struct Legacy {
        SecretBytes<64> extendedKey{};
        std::array<std::uint8_t, 32> publicKey{};
    };
    using Storage = std::variant<Modern, Legacy>;

    using Signature = std::array<std::uint8_t, 64>; ///< R, then S
    /// Told how many bytes have been hashed, of how many: a message is hashed twice.
    using Progress = std::function<void(std::uint64_t hashed, std::uint64_t total)>;

    /// A new modern key from the system's random source.
    static PrivateKey generate();
    /// Throws Ed25519Error (InvalidKeyLength) unless there are 32 or 96 bytes.
    explicit PrivateKey(ByteView rawRepresentation);
    /// The same, but absent where the constructor throws.
    static std::optional<PrivateKey> fromRawValue(ByteView rawValue);

    const Storage& storage() const { return held; }
    /// The bytes that the key was made from. They are the secret: the caller wipes them.
    Bytes rawRepresentation() const;
    Bytes rawValue() const { return rawRepresentation(); }
    /// Standard base64 of the raw bytes, 44 or 128 characters: the secret, not fit for any message or log.
    std::string baseEncoding() const;
    std::string description() const { return baseEncoding(); }

    /// Derived for a modern key; for a legacy key the stored half.
    PublicKey publicKey() const;

    /// The pure Ed25519 signature of RFC 8032, always the same for the same key and message. The message is
    /// read where it lies, twice; nothing is copied. Throws Ed25519Error (SigningFailed) for an empty message
    /// and a legacy key, and CancelledError soon after `cancellation` is requested.
    Signature signature(ByteView message, const std::stop_token& cancellation = {},
                        const Progress& progress = {}) const;

    /// Compares the raw bytes, in a time that does not depend on them.
    bool operator==(const PrivateKey& other) const;

private:
    Storage held;
};

} // namespace halvo
