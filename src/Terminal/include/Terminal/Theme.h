#pragma once

#include <Terminal/TerminalText.h>

#include <string_view>

namespace halvo {

/// How each style looks: the parameters of the escape sequence "ESC [ ... m" (SGR, ECMA-48 8.3.117). Only the
/// sixteen basic colours are used, so that a person's own palette, light or dark, applies.
struct Theme {
    std::string_view command = "1;36";
    std::string_view primary = "1";
    std::string_view secondary = "36";
    std::string_view muted = "2";
    std::string_view accent = "36";
    std::string_view success = "32";
    std::string_view warning = "33";
    std::string_view danger = "31";
    std::string_view path = "4";
    std::string_view section = "1";

    /// Empty for plain text.
    std::string_view parameters(TextStyle style) const;
};

} // namespace halvo
