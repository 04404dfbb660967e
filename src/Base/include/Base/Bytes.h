#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

using Bytes = std::vector<std::uint8_t>;
/// Bytes that belong to somebody else.
using ByteView = std::span<const std::uint8_t>;

/// The bytes of a text, borrowed.
ByteView viewBytes(std::string_view text);
/// The same memory as text, borrowed; nothing is checked.
std::string_view viewText(ByteView bytes);
Bytes copyBytes(std::string_view text);

/// Two lower-case hexadecimal digits for each byte.
std::string toHex(ByteView bytes);

} // namespace halvo
