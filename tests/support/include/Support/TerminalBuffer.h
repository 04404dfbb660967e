#pragma once

#include <Terminal/Terminal.h>

#include <memory>
#include <string>

namespace halvo::test {

/// Keeps what was written. Describes itself as a pipe, unless told otherwise.
class BufferOutput final : public OutputPipeline {
public:
    explicit BufferOutput(TerminalDescription terminal = {}) : terminal(terminal) {}
    void write(std::string_view bytes) override { text += bytes; }
    TerminalDescription description() const override { return terminal; }
    void setCursorVisible(bool visible) override { cursorVisible = visible; }

    TerminalDescription terminal;
    std::string text;
    bool cursorVisible = true;
};

/// Types a script, and then nothing more. Nobody to ask, unless told otherwise.
class ScriptedInput final : public InputSource {
public:
    explicit ScriptedInput(std::string script = {}, bool isTerminal = false)
        : script(std::move(script)), isTerminal(isTerminal) {}
    bool interactive() const override { return isTerminal; }
    Read read(std::optional<std::chrono::milliseconds>, const std::stop_token& cancellation) override {
        if (cancellation.stop_requested())
            throw CancelledError();
        if (next == script.size())
            return {};
        return {Read::Kind::byte, static_cast<unsigned char>(script[next++])};
    }
    void beginRawMode() override {}
    void endRawMode() noexcept override {}
    void suspend() override {}

private:
    std::string script;
    std::size_t next = 0;
    bool isTerminal;
};

/// A terminal kit whose streams are buffers.
struct BufferTerminal {
    explicit BufferTerminal(TerminalDescription description = {}, std::string typed = {})
        : output(std::make_shared<BufferOutput>(description)),
          error(std::make_shared<BufferOutput>(description)),
          terminal(
              {output, error, std::make_shared<ScriptedInput>(std::move(typed), description.interactive)},
              Theme(), [this] { return now; }) {}

    std::shared_ptr<BufferOutput> output;
    std::shared_ptr<BufferOutput> error;
    std::chrono::steady_clock::time_point now{};
    Terminal terminal;
};

} // namespace halvo::test
