#pragma once

#include "CommandLine/Command.h"

#include <span>
#include <string>
#include <variant>

namespace halvo {

/// What the arguments of the process ask for.
struct ParsedCommandLine {
    /// Run this command; its declared variables are filled.
    struct Run {
        Command* command = nullptr;
        std::string help{}; ///< the help of the command
    };
    /// Print a text to standard output and end with status 0.
    struct Print {
        std::string text;
    };
    /// Print a message and the usage to standard error and end with status 64.
    struct UsageFault {
        std::string text{};
    };
    std::variant<Print, Run, UsageFault> outcome = Print();
};

/// Reads the arguments (without the program's own name) against the tree of commands. The commands must
/// outlive the result.
ParsedCommandLine parseCommandLine(Command& root, std::string_view version,
                                   std::span<const std::string> arguments);

/// The whole help of a command. `path` names it from the root: {"halvo", "config", "show"}. Lines of prose
/// are wrapped at 80 columns.
std::string helpText(const Command& command, const CommandArguments& arguments,
                     std::span<const std::string> path);

/// "halvo config show --bundle-id <bundle-id> [--section <section>]"
std::string usageLine(const Command& command, const CommandArguments& arguments,
                      std::span<const std::string> path);

} // namespace halvo
