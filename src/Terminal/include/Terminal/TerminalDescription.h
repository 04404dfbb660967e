#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>

namespace halvo {

/// The value of an environment variable; absent when it is unset.
using VariableLookup = std::function<std::optional<std::string>(const std::string& name)>;

/// What an output leads to. The defaults are those of a pipe or a file.
struct TerminalDescription {
    bool interactive = false; ///< a terminal that can redraw its lines, with a person before it
    bool coloured = false;    ///< escape sequences for colour are welcome
    std::size_t width = 80;   ///< in columns; at least 1
    std::size_t height = 24;  ///< in lines; at least 1
    bool operator==(const TerminalDescription&) const = default;
};

/// The size that a terminal reports; zero for "not known".
struct TerminalSize {
    std::size_t width = 0;
    std::size_t height = 0;
};

/// Decides what an output is from facts about it. `size` is absent when it is not a terminal.
///
/// - interactive: a terminal whose TERM is set and not "dumb";
/// - coloured: interactive, or CLICOLOR_FORCE is set and not "0"; never with NO_COLOR set and not empty, nor
///   with CLICOLOR "0" (https://no-color.org, https://bixense.com/clicolors);
/// - width and height: what the terminal reports, else COLUMNS and LINES, else 80 by 24.
TerminalDescription describeOutput(std::optional<TerminalSize> size, const VariableLookup& variables);

/// The same for an open file descriptor, which is asked whether it is a terminal and for its size.
TerminalDescription detectTerminal(int descriptor, const VariableLookup& variables);

} // namespace halvo
