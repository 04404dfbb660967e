#pragma once

#include <Base/Failure.h>
#include <Terminal/Terminal.h>

#include <string>
#include <string_view>
#include <utility>

namespace halvo {

/// For commands that report a failure in their own words and end with the status of success: runs
/// `operation`, and prints a failure of it behind `prefix`. Gives whether it worked. Cancellation passes
/// through.
template<typename Operation>
bool reportingFailure(Terminal& terminal, std::string_view prefix, Operation&& operation) {
    try {
        std::forward<Operation>(operation)();
        return true;
    } catch (const CancelledError&) {
        throw;
    } catch (const std::exception& error) {
        terminal.print(TerminalText::danger(std::string(prefix) + describe(error)));
        return false;
    }
}

} // namespace halvo
