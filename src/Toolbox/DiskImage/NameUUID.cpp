#include "NameUUID.h"

#include <algorithm>

#include <openssl/sha.h>

namespace halvo {

UUID nameUUID(ByteView bytes) {
    std::array<std::uint8_t, SHA256_DIGEST_LENGTH> digest{};
    SHA256(bytes.data(), bytes.size(), digest.data());
    UUID::Raw raw{};
    std::copy_n(digest.begin(), raw.size(), raw.begin());
    raw[6] = static_cast<std::uint8_t>((raw[6] & 0x0F) | 0x80);
    raw[8] = static_cast<std::uint8_t>((raw[8] & 0x3F) | 0x80);
    return UUID(raw);
}

} // namespace halvo
