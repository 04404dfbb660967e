#pragma once

#include "../LineSplitter.h"
#include "Spawn.h"

#include <functional>
#include <map>
#include <mutex>
#include <span>

namespace halvo {

/// The children that are not reaped yet, whose numbers are therefore still their own.
class RunningChildren {
public:
    /// `target` is what kill(2) takes: the negative number for a group.
    void add(pid_t pid, pid_t target, std::stop_token cancellation);
    void remove(pid_t pid);
    void signal(int number);
    void killCancelled();

private:
    struct Child {
        pid_t target = 0;
        std::stop_token cancellation{};
    };
    std::mutex mutex;
    std::map<pid_t, Child> children;
};

/// A child from its start to the moment when its end is known.
class ChildProcess final : public RunningProcess {
public:
    ChildProcess(const std::filesystem::path& executable, const ProcessRequest& request,
                 const Environment& environment, RunningChildren& children);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess() override;

    Event next(std::optional<Instant> deadline) override;
    bool signalGroup(int number) override;

    /// Waits for output and hands over what is there. After the child's end, only what was in the pipes by
    /// then is handed over: a grandchild may hold their other side open for ever. False when nothing came by
    /// the deadline. Throws CancelledError after the teardown.
    using Receiver = std::function<void(OutputStream, std::span<const char>)>;
    bool read(std::optional<Instant> deadline, const Receiver& receive);
    /// Known once read() has seen the end.
    const std::optional<Termination>& termination() const { return ended; }

private:
    struct Source {
        Descriptor pipe{};
        LineSplitter lines{};
    };
    struct Ready {
        bool streams[2] = {false, false};
        bool ended = false;
        bool cancelled = false;
    };
    Ready waitForAny(std::optional<Instant> deadline, bool heedsCancellation) const;
    bool hasEnded() const;
    /// Whether the pipe gave anything; at its end it is closed. Does not wait.
    bool readPipe(std::size_t index, std::size_t limit, const Receiver& receive);
    void readRest(const Receiver& receive);
    void reap();
    /// Goes through the steps of the request, then kills what is left, and waits for the end.
    void tearDown();

    const bool ownGroup;
    const std::vector<TeardownStep> steps;
    RunningChildren& children;
    Descriptor cancelled; ///< an eventfd, readable for good once cancellation is requested
    pid_t pid = 0;
    Descriptor end; ///< a pidfd, readable for good once the child has ended; closed on kernels without them
    Source sources[2];
    std::vector<char> buffer;
    std::optional<Termination> ended;
    std::stop_callback<std::function<void()>> cancellation; ///< last: it may call at once
};

} // namespace halvo
