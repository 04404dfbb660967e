#include "Output/OutputContext.h"

#include <nlohmann/json.hpp>

namespace halvo {
namespace {

/// The text of a document: keys sorted, slashes as they are, indented for a terminal. Text that is not UTF-8
/// gets U+FFFD in its place.
std::string encoded(const nlohmann::json& document, bool pretty) {
    return document.dump(pretty ? 2 : -1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace

OutputContext OutputContext::make(const Services& services, OutputFormat format, bool interactive) {
    const TerminalStreams streams =
        format == OutputFormat::json ? services.streams.withoutStandardOutput() : services.streams;
    return {format, interactive, services.makeTerminal(streams), services};
}

OutputContext::OutputContext(OutputFormat format, bool interactive, std::unique_ptr<Terminal> terminal,
                             const Services& services)
    : outputFormat(format), mayAsk(interactive), kit(std::move(terminal)),
      standardOutput(services.streams.standardOutput), standardError(services.streams.standardError),
      pretty(services.standardOutputIsTerminal) {}

void OutputContext::info(const TerminalText& text) const {
    if (outputFormat == OutputFormat::text)
        kit->print(text);
}

void OutputContext::emit(const CLIError& error) const {
    if (outputFormat == OutputFormat::text) {
        kit->print(TerminalText::danger(error.description()));
    } else {
        writeJSONLine(nlohmann::json(error));
        standardError->write("Error: " + sanitised(error.description()) + "\n");
    }
    if (!error.advice().empty())
        standardError->write(sanitised(error.advice()) + "\n");
}

void OutputContext::emit(const OutputData& result) const {
    if (outputFormat == OutputFormat::text)
        kit->print(result.humanText());
    else
        writeJSONLine(result.json());
}

bool OutputContext::confirm(const std::string& prompt, bool override) const {
    if (override)
        return true;
    if (!mayAsk || outputFormat == OutputFormat::json || !kit->interactive())
        throw confirmationRequired(prompt);
    return kit->yesOrNoChoicePrompt({.question = prompt, .defaultAnswer = true, .collapseOnSelection = true});
}

CLIError OutputContext::confirmationRequired(const std::string& prompt) const {
    const std::string question = "Confirmation required: " + prompt + ". ";
    if (mayAsk && outputFormat == OutputFormat::json)
        return {
            "confirmation_required",
            question +
                "Pass the corresponding override flag (e.g. --yes, --skip-notarization) to proceed in --format json."};
    return {
        "confirmation_required",
        question +
            "Re-run interactively, or pass the corresponding override flag (e.g. --skip-notarization) to proceed non-interactively."};
}

void OutputContext::writeJSONLine(const nlohmann::json& document) const {
    std::string text;
    try {
        text = encoded(document, pretty);
    } catch (const nlohmann::json::exception& error) {
        standardError->write("Failed to encode JSON output: " + std::string(error.what()) + "\n");
        return;
    }
    standardOutput->write(text + "\n");
}

} // namespace halvo
