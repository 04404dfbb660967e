#pragma once

#include <chrono>
#include <optional>
#include <stop_token>

namespace halvo {

/// Where answers come from: a person's terminal, or a script of bytes in a test.
class InputSource {
public:
    struct Read {
        enum class Kind { byte, timeout, endOfInput } kind = Kind::endOfInput;
        unsigned char byte = 0; ///< when the kind says so
    };

    virtual ~InputSource() = default;
    /// A terminal at which a person types.
    virtual bool interactive() const = 0;
    /// Waits for one byte, without end when there is no `timeout`. Throws CancelledError as soon as
    /// `cancellation` is requested. A terminal that hung up is the end of input.
    virtual Read read(std::optional<std::chrono::milliseconds> timeout,
                      const std::stop_token& cancellation) = 0;
    /// Hands over every key as it is typed, without echo; Ctrl-C alone stays a signal. Throws PromptError
    /// when the terminal refuses.
    virtual void beginRawMode() = 0;
    /// As the terminal was before. Nothing happens outside raw mode.
    virtual void endRawMode() noexcept = 0;
    /// Ctrl-Z in raw mode: gives the terminal back, stops the process group, and takes the terminal again
    /// when the person lets the program go on.
    virtual void suspend() = 0;
};

/// Nobody to ask, whatever the process's input is: for runs in which no question may be asked.
class NoInput final : public InputSource {
public:
    bool interactive() const override { return false; }
    Read read(std::optional<std::chrono::milliseconds>, const std::stop_token&) override { return {}; }
    void beginRawMode() override {}
    void endRawMode() noexcept override {}
    void suspend() override {}
};

/// An open file descriptor, which stays the caller's.
class FileDescriptorInput final : public InputSource {
public:
    explicit FileDescriptorInput(int descriptor) : descriptor(descriptor) {}
    FileDescriptorInput(const FileDescriptorInput&) = delete;
    FileDescriptorInput& operator=(const FileDescriptorInput&) = delete;
    ~FileDescriptorInput() override;

    bool interactive() const override;
    Read read(std::optional<std::chrono::milliseconds> timeout, const std::stop_token& cancellation) override;
    void beginRawMode() override;
    void endRawMode() noexcept override;
    void suspend() override;

private:
    int descriptor;
    bool raw = false;
};

/// Gives the terminal back as the program found it: echo and line mode, a visible cursor, no half-drawn line.
/// For ending the process without unwinding, and before Ctrl-Z stops it: may be called at any time, from any
/// thread and more than once; nothing happens when nothing was changed.
void restoreTerminal() noexcept;
/// Undoes restoreTerminal() for a process that goes on in the foreground.
void takeTerminalAgain() noexcept;

} // namespace halvo
