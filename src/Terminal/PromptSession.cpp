#include "PromptSession.h"

#include <algorithm>

#include <fmt/format.h>

namespace halvo {

PromptSession::PromptSession(Screen& screen, InputSource& input, OutputPipeline& output,
                             std::stop_token cancellation, std::string question)
    : screen(screen), input(input), output(output), keys(input, std::move(cancellation)),
      question(std::move(question)), held(screen.hold()) {
    screen.pause(held);
    input.beginRawMode();
}

PromptSession::~PromptSession() {
    input.endRawMode();
    try {
        output.write(belowLastLine());
        screen.resume(held);
    } catch (const OutputError&) {
        // The terminal is gone, and whoever draws on it next says so.
    }
}

TerminalDescription PromptSession::room() const {
    TerminalDescription room = output.description();
    room.width = std::max<std::size_t>(room.width, 2) - 1; // see Screen::draw
    return room;
}

void PromptSession::draw(const Picture& picture) {
    std::string bytes = toFirstLine() + "\x1b[J";
    for (std::size_t index = 0; index < picture.lines.size(); ++index)
        bytes += (index == 0 ? "" : "\r\n") + picture.lines[index];
    bytes += "\r";
    if (const std::size_t up = picture.lines.size() - 1 - picture.cursorLine; up > 0)
        bytes += fmt::format("\x1b[{}A", up);
    if (picture.cursorColumn > 0)
        bytes += fmt::format("\x1b[{}C", picture.cursorColumn);
    output.write(bytes);
    drawn = picture;
}

Key PromptSession::nextKey() {
    Key key = keys.next();
    if (key.kind == Key::Kind::suspend) {
        output.write(belowLastLine());
        const Picture picture = std::exchange(drawn, {});
        input.suspend();
        draw(picture);
    }
    return key;
}

void PromptSession::collapse(const std::string& line) {
    output.write(toFirstLine() + "\x1b[J" + line + "\r\n");
    drawn = {};
}

void PromptSession::endOfInput() const { throw PromptError(PromptError::EndOfInput{question}); }

std::string PromptSession::toFirstLine() const {
    return drawn.cursorLine > 0 ? fmt::format("\r\x1b[{}A", drawn.cursorLine) : "\r";
}

std::string PromptSession::belowLastLine() const {
    if (drawn.lines.empty())
        return {};
    const std::size_t down = drawn.lines.size() - 1 - drawn.cursorLine;
    return (down > 0 ? fmt::format("\x1b[{}B", down) : std::string()) + "\r\n";
}

} // namespace halvo
