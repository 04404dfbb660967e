#pragma once

#include <Base/Bytes.h>

#include <optional>

namespace halvo {

/// Standard base64 (RFC 4648, section 4), padded, without line breaks.
std::string encodeBase64(ByteView bytes);

enum class Base64Reading {
    strict,             ///< nothing but the alphabet and the padding
    ignoringWhitespace, ///< for values that people paste: blanks and line breaks are passed over
};

/// The bytes of padded standard base64, or absent when the text is anything else.
std::optional<Bytes> decodeBase64(std::string_view text, Base64Reading reading = Base64Reading::strict);

} // namespace halvo
