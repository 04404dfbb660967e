#pragma once

#include <atomic>
#include <functional>
#include <optional>
#include <stop_token>
#include <thread>

#include <signal.h>

namespace halvo {

/// Turns Ctrl-C, SIGTERM and SIGHUP into a request to stop, so that everything under way unwinds: children
/// end, temporary files go. A second signal shortens what takes time (people press Ctrl-C again after a
/// second). A third, Ctrl-\, or two seconds after the second, end the process as it is.
///
/// A signal that was ignored at the start stays ignored: `nohup`, a job in the background of a script. Made
/// before other threads, which inherit that the signals wait for this one's.
class Interruption {
public:
    /// Called on the thread that waits for signals; they throw nothing.
    struct Reactions {
        std::function<void()> hurry{};   ///< at the second signal
        std::function<void()> abandon{}; ///< before the process ends without unwinding
        std::function<void()> suspend{}; ///< before Ctrl-Z stops the process
        std::function<void()> resume{};  ///< once the shell lets it go on
    };

    Interruption(std::stop_source source, Reactions reactions);
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    /// The status of a process that a signal ended, 128 and its number; absent when none came.
    std::optional<int> status() const;

private:
    void watch(const std::stop_token& ended);
    void suspend() const;
    [[noreturn]] void abandon() const;

    std::stop_source source;
    const Reactions reactions;
    sigset_t signals{};
    std::atomic<int> received = 0;
    std::jthread watcher;
};

} // namespace halvo
