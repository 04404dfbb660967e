#include <Terminal/TerminalText.h>

#include <Base/Unicode.h>

#include "TextLayout.h"

namespace halvo {
namespace {

constexpr std::string_view replacement = "\uFFFD";

/// Embeddings, overrides and isolates (U+202A to U+202E, U+2066 to U+2069) can make text read as something
/// that it is not.
bool reorders(std::string_view character) {
    return (character >= "\u202A" && character <= "\u202E") ||
           (character >= "\u2066" && character <= "\u2069");
}

/// U+0080 to U+009F: some terminals take these for escape sequences.
bool isHighControl(std::string_view character) { return character >= "\u0080" && character <= "\u009F"; }

std::string controlPicture(unsigned char control) {
    const int picture = control == 0x7F ? 0x21 : control; // U+2421 for DEL, U+2400 and up for the others
    return {'\xE2', '\x90', static_cast<char>(0x80 + picture)};
}

} // namespace

TerminalText::TerminalText(TextStyle style, std::string text) {
    if (!text.empty())
        content.push_back({style, std::move(text)});
}

TerminalText& TerminalText::operator+=(const TerminalText& more) {
    if (&more == this)
        return *this += TerminalText(more);
    content.insert(content.end(), more.content.begin(), more.content.end());
    return *this;
}

std::string TerminalText::rendered(const Theme& theme, bool coloured) const {
    const Painter painter{theme, coloured};
    return painter.painted(painter.prepared(*this));
}

std::string TerminalText::plainText() const { return rendered(Theme(), false); }

std::string sanitised(std::string_view text) {
    const std::string valid = repairedUTF8(text);
    std::string clean;
    clean.reserve(valid.size());
    for (std::size_t start = 0, end = 0; start < valid.size(); start = end) {
        end = start + 1;
        while (end < valid.size() && (valid[end] & 0xC0) == 0x80)
            ++end;
        const std::string_view character = std::string_view(valid).substr(start, end - start);
        const auto first = static_cast<unsigned char>(character[0]);
        if (first == '\n' || first == '\t')
            clean += character;
        else if (first == '\r' && valid[end] == '\n') // reading the terminating zero is fine
            continue;
        else if (first < 0x20 || first == 0x7F)
            clean += controlPicture(first);
        else if (isHighControl(character) || reorders(character))
            clean += replacement;
        else
            clean += character;
    }
    return clean;
}

std::string sanitisedLine(std::string_view text) {
    std::string line;
    bool inBreak = false;
    for (const char character : sanitised(text)) {
        const bool breaks = character == '\n' || character == '\t';
        if (!breaks)
            line += character;
        else if (!inBreak)
            line += ' ';
        inBreak = breaks;
    }
    return line;
}

} // namespace halvo
