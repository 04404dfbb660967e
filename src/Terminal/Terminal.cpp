#include <Terminal/Terminal.h>

#include "Screen.h"

namespace halvo {
namespace {

/// Standard error: nobody has to read progress and warnings, so none is a reason to end the work.
class DispensableOutput final : public FileDescriptorOutput {
public:
    using FileDescriptorOutput::FileDescriptorOutput;
    void write(std::string_view bytes) override {
        try {
            FileDescriptorOutput::write(bytes);
        } catch (const OutputError&) {
        }
    }
};

} // namespace

TerminalStreams TerminalStreams::ofProcess(const VariableLookup& variables) {
    return {.standardOutput = std::make_shared<FileDescriptorOutput>(1, variables),
            .standardError = std::make_shared<DispensableOutput>(2, variables),
            .standardInput = std::make_shared<FileDescriptorInput>(0)};
}

Terminal::Terminal(TerminalStreams streams, Theme theme, MonotonicClock now, std::stop_token cancellation)
    : screen(std::make_unique<Screen>(streams, theme, std::move(now))),
      input(std::move(streams.standardInput)), cancellation(std::move(cancellation)) {}

Terminal::~Terminal() = default;

bool Terminal::interactive() const { return input->interactive() && screen->conversation() != nullptr; }

std::string Terminal::format(const TerminalText& text) const {
    const Painter painter = screen->painter(screen->standardOutput());
    return painter.painted(painter.prepared(text));
}

void Terminal::print(const TerminalText& text) {
    screen->write(screen->hold(), screen->standardOutput(), format(text) + "\n");
}

void Terminal::printError(const TerminalText& text) {
    OutputPipeline& output = screen->standardError();
    const Painter painter = screen->painter(output);
    screen->write(screen->hold(), output, painter.painted(painter.prepared(text)) + "\n");
}

void Terminal::table(const Table& table) {
    OutputPipeline& output = screen->standardOutput();
    screen->write(screen->hold(), output, renderTable(table, screen->looks(), output.description()));
}

void Terminal::keyValues(const KeyValueRows& rows) {
    OutputPipeline& output = screen->standardOutput();
    screen->write(screen->hold(), output, renderKeyValues(rows, screen->looks(), output.description()));
}

} // namespace halvo
