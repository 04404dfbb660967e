#pragma once

#include "Spawn.h"

#include <functional>
#include <mutex>
#include <span>

namespace halvo {

/// A child from its start to the moment when its end is known. Destroying it while the child runs tears the
/// child down.
class ChildProcess {
public:
    ChildProcess(const std::filesystem::path& executable, const ProcessRequest& request,
                 const Environment& environment);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess();

    /// Waits until a stream has bytes and reads some of them; 0 at its end. After the child's end, only what
    /// was in the pipe by then is read: a grandchild may hold the other side open for ever. Throws
    /// CancelledError.
    std::size_t read(OutputStream stream, std::span<char> buffer);

    /// Reads both streams at once until the child is gone. Throws CancelledError.
    using Receiver = std::function<void(OutputStream, std::span<const char>)>;
    void readBoth(const Receiver& receive);

    /// See RunningProcess::signalGroup.
    bool signal(int number);

    /// Waits for the end. Throws CancelledError.
    Termination wait();

    /// Goes through the steps of the request, then kills what is left, and waits for the end.
    void tearDown();

private:
    /// Our side of one output pipe. The lock is for a teardown beside a reader that does not know of it yet.
    struct Source {
        Descriptor pipe{};
        std::mutex mutex{};
        std::optional<std::size_t> rest{}; ///< bytes still to be read, once the child is gone
        bool atEnd = false;

        /// What to poll; -1 at the end.
        int descriptor();
        void noteChildEnded();
        /// Does not wait; 0 when nothing is there, which is the end when this follows a poll.
        std::size_t readAvailable(std::span<char> buffer);
    };
    Source& source(OutputStream stream) { return sources[static_cast<std::size_t>(stream)]; }
    /// Drops all output until the child ends or the time is over; whether it ended.
    bool drainUntilEnd(std::chrono::steady_clock::time_point deadline);
    Termination reap();
    void wakeReaders() const;

    const bool ownGroup;
    const std::vector<TeardownStep> steps;
    Descriptor cancelled; ///< an eventfd, readable for good once cancellation is requested
    pid_t pid = 0;
    Descriptor end; ///< a pidfd, readable for good once the child has ended
    Source sources[2];

    std::mutex mutex; ///< guards `termination`, and the pid against being signalled after it is given back
    std::optional<Termination> termination;
    std::stop_callback<std::function<void()>> cancellation; ///< last: it may call at once
};

} // namespace halvo
