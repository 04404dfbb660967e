#pragma once

#include "TestServices.h"

#include "CommandLine/CommandLineParser.h"
#include "Commands/Commands.h"

#include <stdexcept>
#include <string>
#include <vector>

namespace halvo::test {

/// Runs a command line in this process and gives the status that it ends with.
inline int runCommand(TestServices& test, const std::vector<std::string>& arguments) {
    const auto root = makeRootCommand();
    const ParsedCommandLine parsed = parseCommandLine(*root, "", arguments);
    const auto* chosen = std::get_if<ParsedCommandLine::Run>(&parsed.outcome);
    if (chosen == nullptr)
        throw std::runtime_error("the arguments name no command that runs");
    try {
        chosen->command->run(test.services);
        return ExitCode::success;
    } catch (const ExitCode& code) {
        return code.status;
    }
}

} // namespace halvo::test
