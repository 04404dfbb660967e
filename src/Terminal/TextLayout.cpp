#include "TextLayout.h"

#include <Base/Unicode.h>

#include <algorithm>
#include <span>

namespace halvo {
namespace {

constexpr std::string_view ellipsis = "\u2026";

/// One character, borrowed from the runs it stands in.
struct Cell {
    TextStyle style = TextStyle::plain;
    std::string_view text{};
    std::size_t width = 0;
};

std::vector<Cell> cells(const Runs& runs) {
    std::vector<Cell> result;
    for (const auto& [style, text] : runs) {
        for (std::string_view rest = text; !rest.empty();) {
            const std::string_view character = rest.substr(0, characterLength(rest));
            if (character == "\t") // how wide it is, the place on the screen decides
                result.push_back({style, " ", 1});
            else
                result.push_back({style, character, displayWidth(character)});
            rest.remove_prefix(character.size());
        }
    }
    return result;
}

Runs joined(std::span<const Cell> cells) {
    Runs runs;
    for (const Cell& cell : cells) {
        if (runs.empty() || runs.back().style != cell.style)
            runs.push_back({cell.style, {}});
        runs.back().text += cell.text;
    }
    return runs;
}

Runs prepare(const TerminalText& text, bool coloured, std::string (*sanitise)(std::string_view)) {
    Runs runs;
    for (const auto& [style, content] : text.parts()) {
        std::string clean = sanitise(content);
        if (style == TextStyle::command && !coloured)
            clean = "`" + clean + "`";
        runs.push_back({style, std::move(clean)});
    }
    return runs;
}

} // namespace

Runs Painter::prepared(const TerminalText& text) const { return prepare(text, coloured, sanitised); }
Runs Painter::preparedLine(const TerminalText& text) const { return prepare(text, coloured, sanitisedLine); }

std::string Painter::painted(const Runs& runs) const {
    std::string result;
    for (const auto& [style, text] : runs) {
        const std::string_view parameters = coloured ? theme.parameters(style) : std::string_view();
        if (parameters.empty())
            result += text;
        else
            result.append("\x1b[").append(parameters).append("m").append(text).append("\x1b[0m");
    }
    return result;
}

std::size_t characterLength(std::string_view text) {
    const auto standsAlone = [](char character) { return character == '\n' || character == '\t'; };
    const auto codepointEnd = [&](std::size_t start) {
        std::size_t end = start + 1;
        while (end < text.size() && (text[end] & 0xC0) == 0x80)
            ++end;
        return end;
    };
    if (text.empty())
        return 0;
    std::size_t end = codepointEnd(0);
    if (standsAlone(text[0]))
        return end;
    while (end < text.size() && !standsAlone(text[end])) {
        const std::size_t next = codepointEnd(end);
        if (displayWidth(text.substr(end, next - end)) != 0)
            break;
        end = next;
    }
    return end;
}

std::size_t displayWidth(const Runs& runs) {
    std::size_t width = 0;
    for (const auto& run : runs)
        width += displayWidth(run.text);
    return width;
}

Runs truncated(const Runs& runs, std::size_t width) {
    if (displayWidth(runs) <= width)
        return runs;
    if (width == 0)
        return {};
    const std::vector<Cell> all = cells(runs);
    std::size_t taken = 0;
    for (std::size_t count = 0; count < all.size(); ++count) {
        taken += all[count].width;
        if (taken + displayWidth(ellipsis) > width) {
            Runs result = joined(std::span(all).first(count));
            // A blank before the ellipsis would make it look like a word of its own.
            while (!result.empty() && result.back().text.ends_with(' '))
                result.back().text.pop_back();
            const TextStyle style = result.empty() ? all.front().style : result.back().style;
            result.push_back({style, std::string(ellipsis)});
            return result;
        }
    }
    return runs;
}

std::vector<Runs> wrapped(const Runs& runs, std::size_t width) {
    const std::vector<Cell> all = cells(runs);
    std::vector<Runs> result;
    std::size_t start = 0;
    const auto endLine = [&](std::size_t end, std::size_t next) {
        while (end > start && all[end - 1].text == " ")
            --end;
        result.push_back(joined(std::span(all).subspan(start, end - start)));
        start = next;
    };
    std::size_t used = 0;
    for (std::size_t index = 0; index < all.size(); ++index) {
        if (all[index].text == "\n") {
            endLine(index, index + 1);
            used = 0;
            continue;
        }
        used += all[index].width;
        if (used <= width || all[index].text == " " || index == start)
            continue;
        std::size_t blank = index;
        while (blank > start && all[blank].text != " ")
            --blank;
        if (blank > start)
            endLine(blank, blank + 1);
        else
            endLine(index, index); // a word longer than the line
        used = 0;
        for (std::size_t kept = start; kept <= index; ++kept)
            used += all[kept].width;
    }
    endLine(all.size(), all.size());
    return result;
}

std::vector<Runs> lines(const Runs& runs) {
    std::vector<Runs> result(1);
    for (const auto& [style, text] : runs) {
        std::size_t start = 0;
        for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n', start)) {
            result.back().push_back({style, text.substr(start, end - start)});
            result.emplace_back();
            start = end + 1;
        }
        result.back().push_back({style, text.substr(start)});
    }
    return result;
}

} // namespace halvo
