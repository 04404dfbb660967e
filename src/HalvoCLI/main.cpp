#include "CommandLine/CIEnvironment.h"
#include "CommandLine/CommandLineParser.h"
#include "Commands/Commands.h"
#include "Services.h"
#include "SystemPlatform.h"

#include <HalvoNotarization/KeyFile.h>
#include <Platform/Descriptor.h>
#include <Platform/Interruption.h>

#include <csignal>

namespace {

using namespace halvo;

Interruption::Reactions reactions(SystemProcessRunner& processes) {
    return {.hurry = [&processes] { processes.killCancelledChildren(); },
            .abandon =
                [] {
                    KeyFile::removeAllForGood();
                    restoreTerminal();
                },
            .suspend =
                [&processes] {
                    processes.stopChildren();
                    restoreTerminal();
                },
            .resume =
                [&processes] {
                    takeTerminalAgain();
                    processes.continueChildren();
                }};
}

/// Runs the command and gives the status of the process.
int run(Command& command, const std::string& help) {
    std::stop_source cancellation;
    SystemPlatform system(cancellation.get_token());
    const Interruption interruption(cancellation, reactions(system.processes()));
    KeyFile::removeAbandoned(system.platform().temporaryDirectory);
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
        services.streams.standardError->write("Error: " + sanitised(describe(error)) + "\n");
        if (const std::string advice = adviceOf(error); !advice.empty())
            services.streams.standardError->write(sanitised(advice) + "\n");
        return interruption.status().value_or(ExitCode::failure);
    }
}

/// What was asked for on standard output, or a fault of the command line on standard error.
int print(const std::string& text, int stream, int status) {
    const TerminalStreams streams =
        TerminalStreams::ofProcess([](const std::string&) { return std::nullopt; });
    try {
        (stream == STDOUT_FILENO ? streams.standardOutput : streams.standardError)->write(text);
        return status;
    } catch (const OutputError& error) {
        streams.standardError->write("Error: " + error.description() + "\n");
        return ExitCode::failure;
    }
}

} // namespace

int main(int count, char** values) {
    occupyStandardStreams();
    std::signal(SIGPIPE, SIG_IGN); // a reader that goes away is a failed write, not the end of the process
    const std::vector<std::string> arguments(values + (count > 0 ? 1 : 0), values + count);
    const auto root = makeRootCommand();
    const ParsedCommandLine parsed = parseCommandLine(*root, HALVO_VERSION, arguments);
    if (const auto* asked = std::get_if<ParsedCommandLine::Print>(&parsed.outcome))
        return print(asked->text, STDOUT_FILENO, ExitCode::success);
    if (const auto* fault = std::get_if<ParsedCommandLine::UsageFault>(&parsed.outcome))
        return print(fault->text, STDERR_FILENO, ExitCode::usage);
    const auto& chosen = std::get<ParsedCommandLine::Run>(parsed.outcome);
    return run(*chosen.command, chosen.help);
}
