#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace halvo {

bool isValidUTF8(std::string_view text);

/// The UTF-16 code units of a text; absent when it is not UTF-8.
std::optional<std::u16string> encodeUTF16(std::string_view text);
/// The text as UTF-8; absent when a surrogate stands alone.
std::optional<std::string> decodeUTF16(std::u16string_view codeUnits);

/// Composed form (NFC), as file names, object keys and URLs that the program makes use it. Text that is not
/// UTF-8 comes back as it is.
std::string composed(std::string_view text);

/// Decomposed form (NFD), as names inside HFS Plus volumes use it. Text that is not UTF-8 comes back as it
/// is.
std::string decomposed(std::string_view text);

/// The terminal columns that the text takes: wide characters count two, marks that combine none.
std::size_t displayWidth(std::string_view text);

/// Every sequence that is not UTF-8 becomes U+FFFD.
std::string repairedUTF8(std::string_view text);

} // namespace halvo
