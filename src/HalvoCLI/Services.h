#pragma once

#include <Platform/Platform.h>
#include <Terminal/Terminal.h>

#include <memory>
#include <string>

namespace halvo {

/// What every command is given: the system, and the streams of the process. Made once in `main`.
struct Services {
    Platform& platform;
    TerminalStreams streams{}; ///< whose input answers questions, and is NoInput where none may be asked
    std::shared_ptr<InputSource> standardInput = streams.standardInput; ///< for what `-` reads
    bool standardOutputIsTerminal = false;
    std::string commandHelp{}; ///< the whole help of the command that runs

    /// A terminal kit on the default theme over the process's own streams.
    std::unique_ptr<Terminal> makeTerminal() const { return makeTerminal(streams); }
    std::unique_ptr<Terminal> makeTerminal(const TerminalStreams& over) const {
        return std::make_unique<Terminal>(
            over, Theme(), [&clock = platform.clock] { return clock.steadyNow(); }, platform.cancellation);
    }
};

} // namespace halvo
