#include "Keys.h"

#include <Base/Failure.h>
#include <Base/Unicode.h>

#include <utility>

namespace halvo {
namespace {

using namespace std::chrono_literals;
using Read = InputSource::Read;

/// Sequences arrive in one piece, or with the delay of a network between their bytes.
constexpr auto sequenceTimeout = 50ms;

Key::Kind controlKey(unsigned char byte) {
    switch (byte) {
    case '\r':
    case '\n': return Key::Kind::enter;
    case '\t': return Key::Kind::tab;
    case 0x01: return Key::Kind::home;          // Ctrl-A
    case 0x02: return Key::Kind::left;          // Ctrl-B
    case 0x04: return Key::Kind::deleteForward; // Ctrl-D
    case 0x05: return Key::Kind::end;           // Ctrl-E
    case 0x06: return Key::Kind::right;         // Ctrl-F
    case 0x08:
    case 0x7F: return Key::Kind::backspace;
    case 0x0B: return Key::Kind::deleteToEnd;   // Ctrl-K
    case 0x0E: return Key::Kind::down;          // Ctrl-N
    case 0x10: return Key::Kind::up;            // Ctrl-P
    case 0x15: return Key::Kind::deleteToStart; // Ctrl-U
    case 0x17: return Key::Kind::deleteWord;    // Ctrl-W
    case 0x1A: return Key::Kind::suspend;       // Ctrl-Z
    default: return Key::Kind::unknown;
    }
}

Key::Kind cursorKey(unsigned char final, bool withModifier) {
    switch (final) {
    case 'A': return Key::Kind::up;
    case 'B': return Key::Kind::down;
    case 'C': return withModifier ? Key::Kind::wordRight : Key::Kind::right;
    case 'D': return withModifier ? Key::Kind::wordLeft : Key::Kind::left;
    case 'H': return Key::Kind::home;
    case 'F': return Key::Kind::end;
    case 'Z': return Key::Kind::tab; // with Shift
    default: return Key::Kind::unknown;
    }
}

Key::Kind editingKey(const std::string& parameters) {
    if (parameters == "1" || parameters == "7")
        return Key::Kind::home;
    if (parameters == "4" || parameters == "8")
        return Key::Kind::end;
    if (parameters == "3")
        return Key::Kind::deleteForward;
    return Key::Kind::unknown;
}

} // namespace

Key KeyReader::next() {
    const Read read = this->read(std::nullopt);
    if (read.kind != Read::Kind::byte)
        return {Key::Kind::endOfInput};
    if (read.byte == 0x03)
        throw CancelledError();
    if (read.byte == 0x1B)
        return escapeSequence();
    if (read.byte < 0x20 || read.byte == 0x7F)
        return {.kind = controlKey(read.byte), .closesInput = read.byte == 0x04};
    return character(read.byte);
}

Read KeyReader::read(std::optional<std::chrono::milliseconds> timeout) {
    if (const auto read = std::exchange(pushedBack, std::nullopt))
        return *read;
    return input.read(timeout, cancellation);
}

Read KeyReader::following() { return read(sequenceTimeout); }

Key KeyReader::escapeSequence() {
    const Read read = following();
    if (read.kind != Read::Kind::byte)
        return {Key::Kind::escape};
    switch (read.byte) {
    case '[': return controlSequence();
    case 'O': { // keypad and cursor keys in application mode
        const Read final = following();
        return {final.kind == Read::Kind::byte ? cursorKey(final.byte, false) : Key::Kind::unknown};
    }
    case 'b': return {Key::Kind::wordLeft}; // Alt-B
    case 'f': return {Key::Kind::wordRight};
    case 0x08:
    case 0x7F: return {Key::Kind::deleteWord};
    default: return {Key::Kind::unknown};
    }
}

Key KeyReader::controlSequence() {
    constexpr std::size_t longest = 32;
    std::string parameters;
    while (parameters.size() < longest) {
        const Read read = following();
        if (read.kind != Read::Kind::byte)
            break;
        if (read.byte == '~')
            return {editingKey(parameters)};
        if (read.byte >= 0x40 && read.byte <= 0x7E)
            return {cursorKey(read.byte, parameters.find(';') != std::string::npos)};
        parameters += static_cast<char>(read.byte);
    }
    return {Key::Kind::unknown};
}

Key KeyReader::character(unsigned char first) {
    std::string bytes(1, static_cast<char>(first));
    const int more = first >= 0xF8 ? 0 : first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : first >= 0xC0 ? 1 : 0;
    for (int count = 0; count < more; ++count) {
        const Read read = following();
        if (read.kind != Read::Kind::byte || (read.byte & 0xC0) != 0x80) {
            pushedBack = read;
            break;
        }
        bytes += static_cast<char>(read.byte);
    }
    if (!isValidUTF8(bytes))
        return {Key::Kind::unknown};
    return {Key::Kind::character, std::move(bytes)};
}

} // namespace halvo
