#pragma once

#include <Terminal/TerminalText.h>

#include <cstdint>
#include <memory>

namespace halvo {

class Screen;

/// The texts of a step that a person waits for.
struct ProgressStep {
    TerminalText message{};
    TerminalText successMessage{};
    TerminalText errorMessage{};
    bool showSpinner = true; ///< without it the line stands still between updates
};

/// What the task of a step reports through. Any thread may call; calls are cheap.
class ProgressUpdater {
public:
    virtual ~ProgressUpdater() = default;
    /// Replaces the line's text; off a terminal, a line of its own unless it repeats the one before. What was
    /// known of bytes is forgotten.
    virtual void update(const TerminalText& text) = 0;
    /// `done` of `total` bytes; zero for a total that is not known, and for both once no bytes are counted.
    /// On a terminal the line shows them with rate and remaining time; elsewhere a line appears every ten
    /// seconds at most.
    virtual void progress(std::uint64_t done, std::uint64_t total) = 0;
};

/// A step under way: made by Terminal::progressStep and Terminal::wait. Its line, its thread and the hidden
/// cursor end with it.
class RunningStep final : public ProgressUpdater {
public:
    RunningStep(Screen& screen, const ProgressStep& step);
    /// A wait of which nothing stays: on a terminal a line appears after half a second, elsewhere none does.
    RunningStep(Screen& screen, const TerminalText& message);
    RunningStep(const RunningStep&) = delete;
    RunningStep& operator=(const RunningStep&) = delete;
    ~RunningStep() override;

    void update(const TerminalText& text) override;
    void progress(std::uint64_t done, std::uint64_t total) override;
    /// Ends the line with the success message and the duration.
    void succeed();
    /// Ends the line with the error message and the duration.
    void fail();

private:
    struct State;
    std::unique_ptr<State> state;
};

} // namespace halvo
