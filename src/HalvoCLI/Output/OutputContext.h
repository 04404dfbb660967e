#pragma once

#include "Output/CLIError.h"
#include "Output/OutputFormat.h"
#include "Services.h"

#include <nlohmann/json_fwd.hpp>

#include <memory>
#include <string>

namespace halvo {

/// A result that can be shown to a person and written for a machine.
class OutputData {
public:
    virtual ~OutputData() = default;
    virtual nlohmann::json json() const = 0;
    virtual TerminalText humanText() const = 0;
};

/// How one run of a command speaks: to a person in text, or to a machine in JSON, and whether it may ask.
///
/// In JSON format standard output carries nothing but the one document; alerts, progress and questions go to
/// standard error.
class OutputContext {
public:
    static OutputContext make(const Services& services, OutputFormat format, bool interactive);

    OutputFormat format() const { return outputFormat; }
    bool interactive() const { return mayAsk; }
    Terminal& noora() const { return *kit; }

    /// A line for a person; nothing in JSON format.
    void info(const TerminalText& text) const;
    void emit(const CLIError& error) const;
    void emit(const OutputData& result) const;
    /// True without asking when `override` is set. Throws CLIError `confirmation_required` where nobody can
    /// be asked.
    bool confirm(const std::string& prompt, bool override) const;

    /// The failure of a question that cannot be asked in this run.
    CLIError confirmationRequired(const std::string& prompt) const;

private:
    OutputContext(OutputFormat format, bool interactive, std::unique_ptr<Terminal> terminal,
                  const Services& services);
    void writeJSONLine(const nlohmann::json& document) const;

    OutputFormat outputFormat;
    bool mayAsk;
    std::unique_ptr<Terminal> kit;
    std::shared_ptr<OutputPipeline> standardOutput;
    std::shared_ptr<OutputPipeline> standardError;
    bool pretty;
};

} // namespace halvo
