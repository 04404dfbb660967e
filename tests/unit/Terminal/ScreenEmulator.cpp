#include "ScreenEmulator.h"

#include <Base/Unicode.h>

#include <algorithm>
#include <stdexcept>

namespace halvo::test {

void ScreenEmulator::feed(std::string_view bytes) {
    pending += bytes;
    std::size_t used = 0;
    while (used < pending.size()) {
        const std::size_t length = consume(std::string_view(pending).substr(used));
        if (length == 0)
            break;
        used += length;
    }
    pending.erase(0, used);
}

/// The length of what was obeyed; zero when more bytes are needed.
std::size_t ScreenEmulator::consume(std::string_view bytes) {
    const auto first = static_cast<unsigned char>(bytes[0]);
    if (first == '\r') {
        column = 0;
    } else if (first == '\n') {
        moveTo(row + 1);
    } else if (first == 0x1B) {
        if (bytes.size() < 2)
            return 0;
        if (bytes[1] != '[')
            throw std::runtime_error("unexpected escape sequence");
        const std::size_t final = bytes.find_first_not_of("0123456789;?", 2);
        if (final == std::string_view::npos)
            return 0;
        obey(bytes.substr(2, final - 2), bytes[final]);
        return final + 1;
    } else if (first < 0x20 || first == 0x7F) {
        throw std::runtime_error("unexpected control character " + std::to_string(first));
    } else {
        const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : first >= 0xC0 ? 2 : 1;
        if (bytes.size() < length)
            return 0;
        put(bytes.substr(0, length));
        return length;
    }
    return 1;
}

void ScreenEmulator::obey(std::string_view parameters, char final) {
    if (parameters == "?25" && (final == 'h' || final == 'l')) {
        visible = final == 'h';
        return;
    }
    const std::size_t count = parameters.empty() ? 1 : std::stoul(std::string(parameters));
    switch (final) {
    case 'A': row -= std::min(row, count); break;
    case 'B': row = std::min(row + count, rows.size() - 1); break;
    case 'C': column = std::min(column + count, width - 1); break;
    case 'J': rows.resize(row + 1); [[fallthrough]];
    case 'K': rows[row].resize(std::min(rows[row].size(), column)); break;
    case 'm': break;
    default: throw std::runtime_error(std::string("unexpected sequence ") + final);
    }
}

void ScreenEmulator::put(std::string_view character) {
    const std::size_t columns = displayWidth(character);
    if (columns == 0 && column > 0) {
        rows[row][column - 1] += character;
        return;
    }
    if (column + columns > width) { // the terminal wraps
        column = 0;
        moveTo(row + 1);
    }
    auto& cells = rows[row];
    if (cells.size() < column + columns)
        cells.resize(column + columns, " ");
    cells[column] = character;
    for (std::size_t more = 1; more < columns; ++more)
        cells[column + more].clear();
    column += columns;
}

void ScreenEmulator::moveTo(std::size_t newRow) {
    row = newRow;
    if (row >= rows.size())
        rows.resize(row + 1);
    if (rows.size() > height) {
        rows.erase(rows.begin());
        --row;
    }
}

std::string ScreenEmulator::text() const {
    std::string result;
    for (const auto& cells : rows) {
        std::string line;
        for (const std::string& cell : cells)
            line += cell;
        line.erase(line.find_last_not_of(' ') + 1);
        result += line + "\n";
    }
    result.erase(result.find_last_not_of('\n') + 1);
    return result;
}

} // namespace halvo::test
