#include <Base/Bytes.h>

namespace halvo {

ByteView viewBytes(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::string_view viewText(ByteView bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

Bytes copyBytes(std::string_view text) {
    const ByteView view = viewBytes(text);
    return {view.begin(), view.end()};
}

std::string toHex(ByteView bytes) {
    static constexpr char digits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 0xF];
    }
    return text;
}

} // namespace halvo
