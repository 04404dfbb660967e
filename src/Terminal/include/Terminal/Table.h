#pragma once

#include <Terminal/TerminalDescription.h>
#include <Terminal/TerminalText.h>
#include <Terminal/Theme.h>

#include <string>
#include <utility>
#include <vector>

namespace halvo {

enum class ColumnAlignment { leading, trailing };

/// What happens to a column when the table is wider than the terminal.
enum class ColumnOverflow {
    truncates, ///< is cut, with an ellipsis at the end
    wraps,     ///< goes on in the next line
    keeps,     ///< stays whole: for identifiers that are typed or copied
};

struct TableColumn {
    TerminalText header{};
    ColumnAlignment alignment = ColumnAlignment::leading;
    ColumnOverflow overflow = ColumnOverflow::truncates;
};

/// Rows may have fewer cells than there are columns; cells beyond them are not shown. A cell is one line:
/// line breaks in it become blanks.
struct Table {
    std::vector<TableColumn> columns{};
    std::vector<std::vector<TerminalText>> rows{};
};

using KeyValueRows = std::vector<std::pair<TerminalText, TerminalText>>;

/// Columns two blanks apart, aligned by display width; every line ends with a line break and without blanks.
///
/// On a terminal the headers are underlined by a rule and the widest columns give way until the table fits;
/// elsewhere columns are aligned, whole, and free of drawing characters.
std::string renderTable(const Table& table, const Theme& theme, const TerminalDescription& terminal);

/// Two columns without headers: keys, and values that are never cut, so that they can be copied; further
/// lines of a value stand below its first.
std::string renderKeyValues(const KeyValueRows& rows, const Theme& theme,
                            const TerminalDescription& terminal);

} // namespace halvo
