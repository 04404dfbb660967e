#include <Base/Base64.h>

#include <array>

namespace halvo {
namespace {

constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::uint8_t notInAlphabet = 0xFF;

constexpr std::array<std::uint8_t, 256> makeValues() {
    std::array<std::uint8_t, 256> values{};
    values.fill(notInAlphabet);
    for (std::size_t index = 0; index < alphabet.size(); ++index)
        values[static_cast<unsigned char>(alphabet[index])] = static_cast<std::uint8_t>(index);
    return values;
}

constexpr auto values = makeValues();

std::string withoutWhitespace(std::string_view text) {
    std::string kept;
    kept.reserve(text.size());
    for (const char character : text)
        if (std::string_view(" \t\r\n").find(character) == std::string_view::npos)
            kept += character;
    return kept;
}

} // namespace

std::string encodeBase64(ByteView bytes) {
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t index = 0; index < bytes.size(); index += 3) {
        const std::size_t left = bytes.size() - index;
        const std::uint32_t group = (std::uint32_t{bytes[index]} << 16) |
                                    (left > 1 ? std::uint32_t{bytes[index + 1]} << 8 : 0) |
                                    (left > 2 ? std::uint32_t{bytes[index + 2]} : 0);
        text += alphabet[(group >> 18) & 63];
        text += alphabet[(group >> 12) & 63];
        text += left > 1 ? alphabet[(group >> 6) & 63] : '=';
        text += left > 2 ? alphabet[group & 63] : '=';
    }
    return text;
}

std::optional<Bytes> decodeBase64(std::string_view text, Base64Reading reading) {
    std::string compact;
    if (reading == Base64Reading::ignoringWhitespace) {
        compact = withoutWhitespace(text);
        text = compact;
    }
    if (text.size() % 4 != 0)
        return std::nullopt;
    std::size_t padding = 0;
    while (padding < 2 && padding < text.size() && text[text.size() - 1 - padding] == '=')
        ++padding;

    Bytes bytes;
    bytes.reserve(text.size() / 4 * 3);
    const std::size_t digits = text.size() - padding;
    std::uint32_t group = 0;
    for (std::size_t index = 0; index < text.size(); ++index) {
        std::uint8_t value = 0;
        if (index < digits) {
            value = values[static_cast<unsigned char>(text[index])];
            if (value == notInAlphabet)
                return std::nullopt;
        }
        group = (group << 6) | value;
        if (index % 4 == 3) {
            bytes.push_back(static_cast<std::uint8_t>(group >> 16));
            bytes.push_back(static_cast<std::uint8_t>(group >> 8));
            bytes.push_back(static_cast<std::uint8_t>(group));
            group = 0;
        }
    }
    // The bits under the padding carry nothing; a text that sets them is not what an encoder writes.
    for (std::size_t index = 0; index < padding; ++index) {
        if (bytes.back() != 0)
            return std::nullopt;
        bytes.pop_back();
    }
    return bytes;
}

} // namespace halvo
