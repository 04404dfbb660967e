#pragma once

#include "ArchiveMonitor.h"

#include <Platform/ProcessRunner.h>

#include <condition_variable>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <stop_token>
#include <string>
#include <variant>
#include <vector>

namespace halvo {

/// One watched run of `xcodebuild archive`: two readers and a monitor beside the thread that waits for them.
class ArchiveRun {
public:
    struct Outcome {
        Termination termination{};
        std::optional<KillReason> killed{}; ///< counts before the termination
        std::vector<std::string> lines{};   ///< of standard output, then of standard error
    };

    ArchiveRun(ProcessRunner& processes, Clock& clock) : processes(processes), clock(clock) {}

    /// `onLine` is called on this thread. Throws ProcessError, what `onLine` throws, and CancelledError; the
    /// child is gone in every case.
    Outcome perform(ProcessRequest request, const std::filesystem::path& archive,
                    ArchiveMonitor::Limits limits, const std::function<void(const std::string&)>& onLine);

private:
    struct Line {
        OutputStream stream{};
        std::string text{};
    };
    struct Finished {};
    struct Killed {
        KillReason reason{};
    };
    struct Failed {
        std::exception_ptr failure{};
    };
    using Event = std::variant<Line, Finished, Killed, Failed>;

    void deliver(Event event);
    Event nextEvent();
    void read(RunningProcess& process, OutputStream stream, StallTracker& tracker);
    Outcome collect(const std::function<void(const std::string&)>& onLine);

    ProcessRunner& processes;
    Clock& clock;
    std::mutex mutex; ///< guards the queue
    std::condition_variable delivered;
    std::deque<Event> queue;
};

} // namespace halvo
