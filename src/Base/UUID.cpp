#include <Base/UUID.h>

#include <Base/Failure.h>

#include <cerrno>
#include <cstring>

#include <sys/random.h>

namespace halvo {
namespace {

constexpr bool hyphenBefore(std::size_t byteIndex) {
    return byteIndex == 4 || byteIndex == 6 || byteIndex == 8 || byteIndex == 10;
}

std::optional<std::uint8_t> hexValue(char digit) {
    if (digit >= '0' && digit <= '9')
        return static_cast<std::uint8_t>(digit - '0');
    const char lower = static_cast<char>(digit | 0x20);
    if (lower >= 'a' && lower <= 'f')
        return static_cast<std::uint8_t>(lower - 'a' + 10);
    return std::nullopt;
}

} // namespace

UUID UUID::random() {
    Raw bytes{};
    if (getentropy(bytes.data(), bytes.size()) != 0)
        throw Failure(std::string("The system gave no random bytes: ") + std::strerror(errno));
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    return UUID(bytes);
}

std::optional<UUID> UUID::parse(std::string_view text) {
    if (text.size() != 36)
        return std::nullopt;
    Raw bytes{};
    std::size_t position = 0;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        if (hyphenBefore(index) && text[position++] != '-')
            return std::nullopt;
        const auto high = hexValue(text[position++]);
        const auto low = hexValue(text[position++]);
        if (!high || !low)
            return std::nullopt;
        bytes[index] = static_cast<std::uint8_t>(*high << 4 | *low);
    }
    return UUID(bytes);
}

std::string UUID::string() const {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    text.reserve(36);
    for (std::size_t index = 0; index < raw.size(); ++index) {
        if (hyphenBefore(index))
            text += '-';
        text += digits[raw[index] >> 4];
        text += digits[raw[index] & 0xF];
    }
    return text;
}

} // namespace halvo
