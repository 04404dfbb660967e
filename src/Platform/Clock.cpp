#include <Platform/Clock.h>

#include <Base/Failure.h>

#include <condition_variable>
#include <mutex>

namespace halvo {

Date SystemClock::now() const {
    return std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
}

std::chrono::steady_clock::time_point SystemClock::steadyNow() const {
    return std::chrono::steady_clock::now();
}

void SystemClock::sleep(std::chrono::milliseconds duration, const std::stop_token& cancellation) {
    std::mutex mutex;
    std::condition_variable_any woken;
    std::unique_lock lock(mutex);
    woken.wait_for(lock, cancellation, duration, [] { return false; });
    if (cancellation.stop_requested())
        throw CancelledError();
}

} // namespace halvo
