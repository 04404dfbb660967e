#pragma once

#include <atomic>
#include <optional>
#include <stop_token>
#include <thread>

namespace halvo {

/// Turns Ctrl-C, SIGTERM and SIGHUP into a request to stop, so that everything under way unwinds: children
/// end, temporary files go. A second signal ends the process at once, with the terminal given back.
///
/// Made before any other thread, which inherit the blocked signals.
class Interruption {
public:
    Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();

    std::stop_token token() const { return source.get_token(); }
    /// The status of a process that a signal ended, 128 and its number; absent when none came.
    std::optional<int> status() const;

private:
    void watch(const std::stop_token& ended);

    std::stop_source source;
    std::atomic<int> received = 0;
    std::jthread watcher;
};

} // namespace halvo
