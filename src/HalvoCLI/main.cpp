#include "CommandLine/CIEnvironment.h"
#include "CommandLine/CommandLineParser.h"
#include "Commands/Commands.h"
#include "Interruption.h"
#include "Services.h"
#include "SystemPlatform.h"

#include <csignal>
#include <cstdio>
#include <string_view>

#include <unistd.h>

namespace {

using namespace halvo;

void write(std::FILE* stream, std::string_view text) { std::fwrite(text.data(), 1, text.size(), stream); }

/// Runs the command and gives the status of the process.
int run(Command& command, const std::string& help) {
    Interruption interruption;
    SystemPlatform system(interruption.token());
    const VariableLookup variables = [&system](const std::string& name) {
        return system.environment().find(name);
    };
    Services services{.platform = system.platform(),
                      .streams = TerminalStreams::ofProcess(variables),
                      .standardOutputIsTerminal = ::isatty(STDOUT_FILENO) == 1,
                      .commandHelp = help};
    if (CIEnvironment::isActive(system.environment().all()))
        services.streams.standardInput = std::make_shared<NoInput>(); // a question would wait for ever
    try {
        command.run(services);
        return ExitCode::success;
    } catch (const ExitCode& code) {
        return interruption.status().value_or(code.status);
    } catch (const CancelledError&) {
        return interruption.status().value_or(ExitCode::failure);
    } catch (const std::exception& error) {
        write(stderr, "Error: " + sanitised(describe(error)) + "\n");
        return interruption.status().value_or(ExitCode::failure);
    }
}

} // namespace

int main(int count, char** values) {
    std::signal(SIGPIPE, SIG_IGN); // a reader that goes away is a failed write, not the end of the process
    const std::vector<std::string> arguments(values + (count > 0 ? 1 : 0), values + count);
    const auto root = makeRootCommand();
    const ParsedCommandLine parsed = parseCommandLine(*root, HALVO_VERSION, arguments);
    if (const auto* print = std::get_if<ParsedCommandLine::Print>(&parsed.outcome)) {
        write(stdout, print->text);
        return ExitCode::success;
    }
    if (const auto* fault = std::get_if<ParsedCommandLine::UsageFault>(&parsed.outcome)) {
        write(stderr, fault->text);
        return ExitCode::usage;
    }
    const auto& chosen = std::get<ParsedCommandLine::Run>(parsed.outcome);
    return run(*chosen.command, chosen.help);
}
