#pragma once

#include <Base/Failure.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <map>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <variant>
#include <vector>

namespace halvo {

/// One element for each argument. They never pass through a shell, so nothing needs quoting.
using Arguments = std::vector<std::string>;

/// How a child ended: with an exit code, or by a signal, never both.
struct Termination {
    enum class Kind { exited, signalled };
    Kind kind = Kind::exited;
    int value = 0; ///< the exit code or the number of the signal

    /// It exited with code 0.
    bool succeeded() const { return kind == Kind::exited && value == 0; }
    bool operator==(const Termination&) const = default;
};

/// What a captured run came to. The outputs are the bytes that the tool wrote, as they are.
struct ProcessResult {
    Termination termination{};
    std::string standardOutput{};
    std::string standardError{};

    bool succeeded() const { return termination.succeeded(); }
    /// What a tool that failed said, for people: its standard error, and the last lines of its standard
    /// output where that names no error; valid UTF-8 without blanks at its end. "Unknown error" for a silent
    /// one.
    std::string errorText() const;
};

/// One step of ending a child whose run was cancelled: a signal, and the time that it has to go.
struct TeardownStep {
    int signal = SIGTERM;
    std::chrono::milliseconds wait{3000};
};

/// A tool to run. The working directory is always the caller's own.
struct ProcessRequest {
    /// Absolute path as macOS has it, such as "/usr/bin/xcodebuild"; see ToolPaths for where it is found.
    std::string executable{};
    Arguments arguments{}; ///< without the executable's own name
    /// Set over the inherited environment.
    std::map<std::string, std::string> environment{};
    /// The child gets a process group of its own; teardown and signalGroup() then reach its children too.
    bool ownGroup = false;
    /// Standard input, whole; without it the child reads the end of the file at once.
    std::optional<std::string> input{};
    /// For each stream of a captured run, in bytes.
    std::size_t outputLimit = 65536;
    /// For a captured run, which is torn down when its time is over. Absent: as long as it takes.
    std::optional<std::chrono::milliseconds> timeLimit{};
    /// Run in this order when the run is cancelled, until the child is gone. Whatever is left then is killed.
    std::vector<TeardownStep> teardown{TeardownStep{}};
    std::stop_token cancellation{};
};

/// A run that failed as such; what a tool that did run says is not a failure of this kind.
struct ProcessErrorCases {
    struct CannotStart {
        std::string executable{};
        std::string description() const { return "Executable is not found or cannot be executed."; }
    };
    struct OutputLimitExceeded {
        std::size_t limit = 0;
        std::string description() const { return "Child process output exceeded the limit."; }
    };
    struct TimeLimitExceeded {
        std::chrono::milliseconds limit{};
        std::string description() const { return "Child process did not exit in time and was killed."; }
    };
    /// The system refused what a run needs: a pipe, a descriptor.
    struct SystemFailure {
        std::string action{};
        int code = 0; ///< an errno value
        std::string description() const;
    };
    using Case = std::variant<CannotStart, OutputLimitExceeded, TimeLimitExceeded, SystemFailure>;
};
using ProcessError = FailureOf<ProcessErrorCases>;

enum class OutputStream { standardOutput, standardError };

/// A child whose output is read while it runs. When the object goes while the child still runs, the child is
/// torn down. For one thread.
class RunningProcess {
public:
    /// Valid UTF-8 without its break (LF, CR LF or CR). A line longer than 1 MiB comes in pieces of that
    /// size.
    struct Line {
        OutputStream stream = OutputStream::standardOutput;
        std::string text{};
    };
    struct TimeOut {
        std::string begun{}; ///< the line that standard output has begun, without its end
    };
    struct End {
        Termination termination{};
    };
    using Event = std::variant<Line, TimeOut, End>;
    using Instant = std::chrono::steady_clock::time_point;

    virtual ~RunningProcess() = default;

    /// Waits for what comes next: a line of either stream; the end, once the child is gone and what it wrote
    /// is read, and from then on; or the time-out, when nothing came by the `deadline`. Throws CancelledError
    /// after the teardown, once the run's cancellation is requested.
    virtual Event next(std::optional<Instant> deadline = std::nullopt) = 0;

    /// Signals the child and its group, when it has one of its own. False when it is gone already.
    virtual bool signalGroup(int signal) = 0;

    /// Passes over all lines to the end. Throws CancelledError as next() does.
    Termination wait();
};

/// Runs tools. Any number of runs may go on at once, from any threads.
class ProcessRunner {
public:
    virtual ~ProcessRunner() = default;

    /// Waits for the end of the child and captures both streams; whatever the tool answers is a result. What
    /// grandchildren write after the child's end is not waited for. Throws ProcessError when the tool cannot
    /// be started or outgrows a limit, and CancelledError after the teardown.
    virtual ProcessResult run(const ProcessRequest& request) = 0;

    /// Starts a child whose lines the caller reads. Throws ProcessError.
    virtual std::unique_ptr<RunningProcess> start(const ProcessRequest& request) = 0;
};

} // namespace halvo
