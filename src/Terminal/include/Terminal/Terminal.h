#pragma once

#include <Terminal/InputSource.h>
#include <Terminal/OutputPipeline.h>
#include <Terminal/ProgressStep.h>
#include <Terminal/Prompts.h>
#include <Terminal/Table.h>
#include <Terminal/TerminalDescription.h>
#include <Terminal/TerminalText.h>
#include <Terminal/Theme.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stop_token>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace halvo {

/// The three streams that a terminal kit talks through.
struct TerminalStreams {
    std::shared_ptr<OutputPipeline> standardOutput{};
    std::shared_ptr<OutputPipeline> standardError{};
    std::shared_ptr<InputSource> standardInput{};

    /// File descriptors 0, 1 and 2 of this process. What cannot be written to standard error is dropped.
    static TerminalStreams ofProcess(const VariableLookup& variables);
    /// Everything on standard error, for runs whose standard output is kept for a machine.
    TerminalStreams withoutStandardOutput() const { return {standardError, standardError, standardInput}; }
};

/// A message with what the reader can do about it.
struct Alert {
    TerminalText message{};
    std::vector<TerminalText> nextSteps{};
};

using MonotonicClock = std::function<std::chrono::steady_clock::time_point()>;

/// The terminal kit: prints text, alerts and tables, asks questions, and shows the progress of long steps.
///
/// Results and alerts go to standard output, errors and progress to standard error. Questions go to standard
/// error, or to standard output when that alone is a terminal. Any thread may print while a step is under
/// way: the kit keeps its lines apart.
class Terminal {
public:
    /// `now` measures durations. When `cancellation` is requested, a waiting prompt throws CancelledError.
    Terminal(TerminalStreams streams, Theme theme, MonotonicClock now, std::stop_token cancellation = {});
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();

    /// A question can be asked: the input is a terminal, and so is one of the outputs.
    bool interactive() const;

    /// Rendered as standard output has it, coloured or not.
    std::string format(const TerminalText& text) const;
    /// A line (or several) to standard output.
    void print(const TerminalText& text);
    /// A line (or several) to standard error.
    void printError(const TerminalText& text);

    void success(const TerminalText& message, const std::vector<TerminalText>& nextSteps = {});
    void warning(const std::vector<Alert>& alerts);
    /// To standard error.
    void error(const Alert& alert);

    /// To standard output.
    void table(const Table& table);
    void keyValues(const KeyValueRows& rows);

    // Each throws PromptError when the question cannot be asked or the input ends, and CancelledError on
    // Ctrl-C. The terminal is as it was before whichever way they end.
    bool yesOrNoChoicePrompt(const YesOrNoQuestion& question);
    std::string textPrompt(const TextQuestion& question);
    /// The index of the chosen option.
    std::size_t singleChoicePrompt(const ChoiceQuestion& question);

    /// Runs `task(ProgressUpdater&)` on this thread, with a line that tells how it goes, and ends the line
    /// with the success or the error message and the duration. Gives what the task gives; its failure passes
    /// through unchanged.
    template<typename Task>
    std::invoke_result_t<Task&, ProgressUpdater&> progressStep(const ProgressStep& step, Task&& task) {
        RunningStep running(*screen, step);
        try {
            if constexpr (std::is_void_v<std::invoke_result_t<Task&, ProgressUpdater&>>) {
                task(static_cast<ProgressUpdater&>(running));
                running.succeed();
            } else {
                auto result = task(static_cast<ProgressUpdater&>(running));
                running.succeed();
                return result;
            }
        } catch (...) {
            running.fail();
            throw;
        }
    }

    /// Runs `task()` on this thread. Should it take over half a second, a terminal on standard error shows
    /// `message` until it is over; nothing of it stays, and other outputs get none of it. For short requests
    /// whose answer is the result. Gives what the task gives; its failure passes through unchanged.
    template<typename Task>
    std::invoke_result_t<Task&> wait(const TerminalText& message, Task&& task) {
        const RunningStep running(*screen, message);
        return task();
    }

private:
    std::unique_ptr<Screen> screen;
    std::shared_ptr<InputSource> input;
    std::stop_token cancellation;
};

} // namespace halvo
