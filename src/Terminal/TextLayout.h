#pragma once

#include <Terminal/TerminalText.h>
#include <Terminal/Theme.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

/// Parts that are sanitised and have the quotes they need: what stands on the screen, but for the colours.
using Runs = std::vector<TerminalText::Part>;

/// Turns texts into what one output takes.
struct Painter {
    const Theme& theme;
    bool coloured = false;

    Runs prepared(const TerminalText& text) const;
    /// On one line, whatever the text holds.
    Runs preparedLine(const TerminalText& text) const;
    std::string painted(const Runs& runs) const;
};

/// The bytes of the first character, with the marks that combine with it; zero for an empty text.
/// `text` is UTF-8.
std::size_t characterLength(std::string_view text);

/// Columns of a text of one line.
std::size_t displayWidth(const Runs& runs);

/// At most `width` columns: what is too long ends in an ellipsis.
Runs truncated(const Runs& runs, std::size_t width);

/// Lines of at most `width` columns, broken at blanks where that is possible and at every line break. Never
/// empty.
std::vector<Runs> wrapped(const Runs& runs, std::size_t width);

/// The lines between line breaks. Never empty.
std::vector<Runs> lines(const Runs& runs);

} // namespace halvo
