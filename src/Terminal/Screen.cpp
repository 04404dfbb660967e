#include "Screen.h"

#include <algorithm>

namespace halvo {

Screen::Screen(TerminalStreams streams, Theme theme, MonotonicClock now)
    : streams(std::move(streams)), theme(theme), clock(std::move(now)) {}

OutputPipeline* Screen::conversation() const {
    for (OutputPipeline* output : {streams.standardError.get(), streams.standardOutput.get()}) {
        if (output->description().interactive)
            return output;
    }
    return nullptr;
}

void Screen::write(const Hold& held, OutputPipeline& output, std::string_view text) {
    // An output that is not a terminal does not share the line's screen.
    const bool shared = drawn && output.description().interactive;
    if (shared)
        clear(held);
    output.write(text);
    if (shared)
        draw(*statusLines.back());
}

void Screen::show(const Hold& held, StatusLine& line) {
    if (statusLines.empty())
        standardError().setCursorVisible(false);
    else
        clear(held);
    draw(line);
    statusLines.push_back(&line);
}

void Screen::remove(const Hold& held, StatusLine& line) {
    const auto found = std::find(statusLines.begin(), statusLines.end(), &line);
    if (found == statusLines.end())
        return;
    statusLines.erase(found);
    clear(held);
    if (statusLines.empty())
        standardError().setCursorVisible(true);
    else
        draw(*statusLines.back());
}

void Screen::refresh(const Hold&, StatusLine& line) {
    if (!statusLines.empty() && statusLines.back() == &line)
        draw(line);
}

void Screen::clear(const Hold&) {
    if (drawn)
        standardError().write("\r\x1b[K");
    drawn = false;
}

void Screen::pause(const Hold& held) {
    clear(held);
    if (!statusLines.empty())
        standardError().setCursorVisible(true);
}

void Screen::resume(const Hold&) {
    if (!statusLines.empty())
        standardError().setCursorVisible(false);
}

void Screen::draw(StatusLine& line) {
    const TerminalDescription terminal = standardError().description();
    // The last column stays free: a character there makes some terminals go on in the next line.
    const std::size_t width = std::max<std::size_t>(terminal.width, 2) - 1;
    drawn = true;
    standardError().write("\r" + line.draw({theme, terminal.coloured}, width) + "\x1b[K");
}

} // namespace halvo
