#pragma once

#include "Keys.h"
#include "Screen.h"

#include <cstddef>
#include <string>
#include <vector>

namespace halvo {

/// A question on the screen, from the first line drawn to the answer: raw mode, a block of lines that is
/// drawn again at every key, and nobody else writing meanwhile.
class PromptSession {
public:
    /// What a prompt shows: painted lines that fit the width, and the place of the cursor in them.
    struct Picture {
        std::vector<std::string> lines{};
        std::size_t cursorLine = 0;
        std::size_t cursorColumn = 0;
    };

    PromptSession(Screen& screen, InputSource& input, OutputPipeline& output, std::stop_token cancellation,
                  std::string question);
    PromptSession(const PromptSession&) = delete;
    PromptSession& operator=(const PromptSession&) = delete;
    /// Leaves what was drawn last on the screen, with the cursor below it.
    ~PromptSession();

    Painter painter() const { return screen.painter(output); }
    /// Room for the lines of a picture, in columns and lines.
    TerminalDescription room() const;

    void draw(const Picture& picture);
    /// The next key for the prompt to handle. Ctrl-Z was seen to: the picture is to be drawn again after any
    /// key.
    Key nextKey();
    /// Ends the prompt: with nothing but `line` left of it.
    void collapse(const std::string& line);
    [[noreturn]] void endOfInput() const;

private:
    std::string toFirstLine() const;
    std::string belowLastLine() const;

    Screen& screen;
    InputSource& input;
    OutputPipeline& output;
    KeyReader keys;
    std::string question;
    Screen::Hold held;
    Picture drawn;
};

} // namespace halvo
