#include <Terminal/Table.h>

#include "TextLayout.h"

#include <algorithm>

namespace halvo {
namespace {

constexpr std::size_t gap = 2;
/// A column does not get narrower than this: less shows nothing.
constexpr std::size_t narrowest = 6;

struct ColumnWidth {
    std::size_t width = 0;
    bool shrinks = false;
};

std::string padding(std::size_t count) { return std::string(count, ' '); }

/// Cuts the widest columns down to one width, so that what is narrow stays whole.
void shrinkToFit(std::vector<ColumnWidth>& columns, std::size_t available) {
    const auto cut = [](const ColumnWidth& column, std::size_t level) {
        return column.shrinks ? std::min(column.width, level) : column.width;
    };
    std::size_t level = 0;
    for (const ColumnWidth& column : columns)
        level = std::max(level, column.width);
    for (; level > narrowest; --level) {
        std::size_t total = gap * (columns.size() - 1);
        for (const ColumnWidth& column : columns)
            total += cut(column, level);
        if (total <= available)
            break;
    }
    for (ColumnWidth& column : columns)
        column.width = cut(column, level);
}

/// Without the blanks at the end.
Runs stripped(Runs runs) {
    while (!runs.empty()) {
        std::string& text = runs.back().text;
        text.erase(text.find_last_not_of(' ') + 1);
        if (!text.empty())
            break;
        runs.pop_back();
    }
    return runs;
}

class TableRenderer {
public:
    TableRenderer(const Table& table, const Theme& theme, const TerminalDescription& terminal)
        : table(table), painter{theme, terminal.coloured}, terminal(terminal) {}

    std::string render() {
        if (table.columns.empty())
            return {};
        std::vector<Runs> headers;
        for (const TableColumn& column : table.columns)
            headers.push_back(heading(column.header));
        std::vector<std::vector<Runs>> rows;
        for (const auto& row : table.rows) {
            auto& prepared = rows.emplace_back();
            for (std::size_t index = 0; index < table.columns.size(); ++index)
                prepared.push_back(index < row.size() ? stripped(painter.preparedLine(row[index])) : Runs());
        }
        measure(headers, rows);

        std::string text;
        appendRow(text, headers);
        if (terminal.interactive)
            appendRule(text);
        for (const auto& row : rows)
            appendRow(text, row);
        return text;
    }

private:
    Runs heading(const TerminalText& header) const {
        Runs runs = painter.preparedLine(header);
        for (auto& run : runs) {
            if (run.style == TextStyle::plain)
                run.style = TextStyle::section;
        }
        return runs;
    }

    void measure(const std::vector<Runs>& headers, const std::vector<std::vector<Runs>>& rows) {
        for (std::size_t index = 0; index < table.columns.size(); ++index) {
            ColumnWidth column{displayWidth(headers[index]),
                               table.columns[index].overflow != ColumnOverflow::keeps};
            for (const auto& row : rows)
                column.width = std::max(column.width, displayWidth(row[index]));
            widths.push_back(column);
        }
        if (terminal.interactive)
            shrinkToFit(widths, terminal.width);
    }

    /// The lines of a cell, at most as wide as its column.
    std::vector<Runs> fitted(const Runs& cell, std::size_t index) const {
        if (table.columns[index].overflow == ColumnOverflow::wraps)
            return wrapped(cell, widths[index].width);
        return {truncated(cell, widths[index].width)};
    }

    void appendRow(std::string& text, const std::vector<Runs>& row) const {
        std::vector<std::vector<Runs>> cells;
        std::size_t height = 0;
        for (std::size_t index = 0; index < row.size(); ++index) {
            cells.push_back(fitted(row[index], index));
            height = std::max(height, cells.back().size());
        }
        for (std::size_t line = 0; line < height; ++line) {
            std::string result;
            std::size_t pending = 0; // blanks that are written once something follows
            for (std::size_t index = 0; index < cells.size(); ++index) {
                const Runs content = line < cells[index].size() ? cells[index][line] : Runs();
                const std::size_t used = displayWidth(content);
                const std::size_t rest = widths[index].width - std::min(used, widths[index].width);
                const bool trailing = table.columns[index].alignment == ColumnAlignment::trailing;
                if (used > 0) {
                    result += padding(pending + (trailing ? rest : 0)) + painter.painted(content);
                    pending = trailing ? 0 : rest;
                } else {
                    pending += rest;
                }
                pending += gap;
            }
            text += result + "\n";
        }
    }

    void appendRule(std::string& text) const {
        std::string rule;
        for (const ColumnWidth& column : widths) {
            if (!rule.empty())
                rule += padding(gap);
            for (std::size_t count = 0; count < column.width; ++count)
                rule += "\u2500";
        }
        text += painter.painted({{TextStyle::muted, rule}}) + "\n";
    }

    const Table& table;
    const Painter painter;
    const TerminalDescription& terminal;
    std::vector<ColumnWidth> widths;
};

} // namespace

std::string renderTable(const Table& table, const Theme& theme, const TerminalDescription& terminal) {
    return TableRenderer(table, theme, terminal).render();
}

std::string renderKeyValues(const KeyValueRows& rows, const Theme& theme,
                            const TerminalDescription& terminal) {
    const Painter painter{theme, terminal.coloured};
    std::vector<Runs> keys;
    std::size_t keyWidth = 0;
    for (const auto& [key, value] : rows) {
        keys.push_back(painter.preparedLine(key));
        keyWidth = std::max(keyWidth, displayWidth(keys.back()));
    }
    std::string text;
    for (std::size_t index = 0; index < rows.size(); ++index) {
        Runs key = keys[index];
        for (auto& run : key) {
            if (run.style == TextStyle::plain)
                run.style = TextStyle::muted;
        }
        std::string label = painter.painted(key);
        std::size_t used = displayWidth(key);
        for (const Runs& line : lines(painter.prepared(rows[index].second))) {
            text += label;
            if (displayWidth(line) > 0)
                text += padding(keyWidth + gap - used) + painter.painted(line);
            text += "\n";
            label.clear();
            used = 0;
        }
    }
    return text;
}

} // namespace halvo
