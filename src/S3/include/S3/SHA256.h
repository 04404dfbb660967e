#pragma once

#include <Base/Bytes.h>

#include <array>

namespace halvo {

using SHA256Digest = std::array<std::uint8_t, 32>;

SHA256Digest sha256(ByteView bytes);
/// HMAC with SHA-256 (RFC 2104).
SHA256Digest hmacSHA256(ByteView key, std::string_view message);

} // namespace halvo
