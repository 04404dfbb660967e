#pragma once

#include <Terminal/InputSource.h>

#include <chrono>
#include <optional>
#include <stop_token>
#include <string>

namespace halvo {

/// A key as a person pressed it.
struct Key {
    enum class Kind {
        character, ///< one code point, in `text`
        enter,
        tab,
        escape,
        backspace,
        deleteForward, ///< also Ctrl-D, which ends the input where there is nothing to delete
        left,
        right,
        up,
        down,
        home,
        end,
        wordLeft,
        wordRight,
        deleteWord,
        deleteToStart,
        deleteToEnd,
        endOfInput, ///< Ctrl-D or a terminal that is gone
        suspend,
        unknown,
    };
    Kind kind = Kind::unknown;
    std::string text{};
    bool closesInput = false; ///< with deleteForward: it was Ctrl-D
};

/// Puts bytes together to keys: UTF-8, the control characters that line editors share, and the cursor keys of
/// xterm (CSI and SS3 sequences, as ECMA-48 5.4 has them).
class KeyReader {
public:
    KeyReader(InputSource& input, std::stop_token cancellation)
        : input(input), cancellation(std::move(cancellation)) {}

    /// Waits for a key. Throws CancelledError on Ctrl-C, which reaches it as a byte when the terminal does
    /// not make a signal of it.
    Key next();

private:
    Key escapeSequence();
    Key controlSequence();
    Key character(unsigned char first);
    InputSource::Read read(std::optional<std::chrono::milliseconds> timeout);
    /// The next byte of something that a terminal sends in one piece.
    InputSource::Read following();

    InputSource& input;
    std::stop_token cancellation;
    std::optional<InputSource::Read> pushedBack; ///< read, and found to belong to the next key
};

} // namespace halvo
