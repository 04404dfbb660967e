#pragma once

#include "CommandLine/Command.h"
#include "Output/CLIError.h"

#include <Terminal/Terminal.h>

#include <string>
#include <string_view>
#include <utility>

namespace halvo {

/// Runs `action`. A failure goes on with `prefix` in front of its sentence; one with a code, which has a whole sentence of
/// its own, goes on as it is.
template<typename Action>
decltype(auto) withFailurePrefix(const std::string& prefix, Action&& action) {
    try {
        return action();
    } catch (const CodedFailure&) {
        throw;
    } catch (const std::exception& error) {
        throw Failure(prefix + describe(error), adviceOf(error));
    }
}

/// Writes the advice of a failure, if it has one, to standard error.
inline void printAdvice(Terminal& terminal, const std::exception& error) {
    if (const std::string advice = adviceOf(error); !advice.empty())
        terminal.printError(advice);
}

/// Runs the work of a command that speaks in text only. A failure is printed to standard output in the style
/// of danger; then the command ends with `status`. A cancellation passes through.
template<typename Work>
void endingOnFailure(Terminal& terminal, int status, Work&& work) {
    try {
        work();
    } catch (const std::exception& error) {
        terminal.print(TerminalText::danger(describe(error)));
        printAdvice(terminal, error);
        throw ExitCode{status};
    }
}

/// For commands that report a failure in their own words and end with the status of success: runs
/// `operation`, and prints a failure of it behind `prefix`. Gives whether it worked. Cancellation passes
/// through.
template<typename Operation>
bool reportingFailure(Terminal& terminal, std::string_view prefix, Operation&& operation) {
    try {
        std::forward<Operation>(operation)();
        return true;
    } catch (const std::exception& error) {
        terminal.print(TerminalText::danger(std::string(prefix) + describe(error)));
        printAdvice(terminal, error);
        return false;
    }
}

} // namespace halvo
