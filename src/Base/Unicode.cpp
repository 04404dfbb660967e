#include <Base/Unicode.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>

#include <utf8proc.h>

namespace halvo {
namespace {

const utf8proc_uint8_t* raw(std::string_view text) {
    return reinterpret_cast<const utf8proc_uint8_t*>(text.data());
}

std::string mapped(std::string_view text, int options) {
    utf8proc_uint8_t* result = nullptr;
    const auto length = utf8proc_map(raw(text), static_cast<utf8proc_ssize_t>(text.size()), &result,
                                     static_cast<utf8proc_option_t>(options | UTF8PROC_STABLE));
    const std::unique_ptr<utf8proc_uint8_t, decltype(&std::free)> owner(result, &std::free);
    if (length < 0)
        return std::string(text);
    return {reinterpret_cast<const char*>(result), static_cast<std::size_t>(length)};
}

/// Calls `visit(codepoint, bytes)` for each character; a byte that starts none comes as codepoint -1.
template<typename Visit>
void forEachCharacter(std::string_view text, Visit visit) {
    while (!text.empty()) {
        utf8proc_int32_t codepoint = -1;
        const auto length =
            utf8proc_iterate(raw(text), static_cast<utf8proc_ssize_t>(text.size()), &codepoint);
        const std::size_t taken = length > 0 ? static_cast<std::size_t>(length) : 1;
        visit(length > 0 ? codepoint : -1, text.substr(0, taken));
        text.remove_prefix(taken);
    }
}

} // namespace

bool isValidUTF8(std::string_view text) {
    if (std::none_of(text.begin(), text.end(), [](char byte) { return (byte & 0x80) != 0; }))
        return true;
    bool valid = true;
    forEachCharacter(text,
                     [&](std::int32_t codepoint, std::string_view) { valid = valid && codepoint >= 0; });
    return valid;
}

std::optional<std::u16string> encodeUTF16(std::string_view text) {
    std::u16string units;
    units.reserve(text.size());
    bool valid = true;
    forEachCharacter(text, [&](std::int32_t codepoint, std::string_view) {
        if (codepoint < 0) {
            valid = false;
        } else if (codepoint < 0x10000) {
            units += static_cast<char16_t>(codepoint);
        } else {
            units += static_cast<char16_t>(0xD800 + ((codepoint - 0x10000) >> 10));
            units += static_cast<char16_t>(0xDC00 + ((codepoint - 0x10000) & 0x3FF));
        }
    });
    return valid ? std::optional(std::move(units)) : std::nullopt;
}

std::optional<std::string> decodeUTF16(std::u16string_view codeUnits) {
    std::string text;
    text.reserve(codeUnits.size());
    for (std::size_t index = 0; index < codeUnits.size(); ++index) {
        std::int32_t codepoint = codeUnits[index];
        if (codepoint >= 0xD800 && codepoint < 0xE000) {
            const bool paired = codepoint < 0xDC00 && index + 1 < codeUnits.size() &&
                                codeUnits[index + 1] >= 0xDC00 && codeUnits[index + 1] < 0xE000;
            if (!paired)
                return std::nullopt;
            codepoint = 0x10000 + ((codepoint - 0xD800) << 10) + (codeUnits[++index] - 0xDC00);
        }
        utf8proc_uint8_t bytes[4];
        const auto length = utf8proc_encode_char(codepoint, bytes);
        text.append(reinterpret_cast<const char*>(bytes), static_cast<std::size_t>(length));
    }
    return text;
}

std::string composed(std::string_view text) { return mapped(text, UTF8PROC_COMPOSE); }
std::string decomposed(std::string_view text) { return mapped(text, UTF8PROC_DECOMPOSE); }

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    forEachCharacter(text, [&](std::int32_t codepoint, std::string_view) {
        width += codepoint < 0 ? 1 : static_cast<std::size_t>(utf8proc_charwidth(codepoint));
    });
    return width;
}

std::string repairedUTF8(std::string_view text) {
    std::string repaired;
    repaired.reserve(text.size());
    forEachCharacter(text, [&](std::int32_t codepoint, std::string_view bytes) {
        repaired += codepoint < 0 ? std::string_view("\xEF\xBF\xBD") : bytes;
    });
    return repaired;
}

} // namespace halvo
