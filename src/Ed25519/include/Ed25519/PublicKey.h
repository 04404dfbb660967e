#pragma once

#include <Base/Bytes.h>

#include <array>
#include <compare>
#include <string>

namespace halvo {

/// The public half of an update key: an encoded point of RFC 8032, 32 bytes. The bytes are not looked at
/// before a signature is checked, so every 32 bytes make a value.
class PublicKey {
public:
    using Raw = std::array<std::uint8_t, 32>;

    explicit PublicKey(const Raw& bytes) : key(bytes) {}
    /// Throws Ed25519Error (InvalidKeyLength) unless there are 32 bytes.
    explicit PublicKey(ByteView rawRepresentation);

    Bytes rawRepresentation() const { return {key.begin(), key.end()}; }
    /// Standard base64 of the raw bytes: 44 characters.
    std::string baseEncoding() const;
    std::string description() const { return baseEncoding(); }

    /// Whether `signature` (R, then S, 64 bytes) is this key's for `message`: pure Ed25519 of RFC 8032, with
    /// the non-canonical and the small-order encodings refused that would let somebody else's signature pass.
    /// A signature of another length is not valid. The message is read where it lies, once.
    bool isValidSignature(ByteView signature, ByteView message) const;

    auto operator<=>(const PublicKey&) const = default;

private:
    Raw key;
};

} // namespace halvo
