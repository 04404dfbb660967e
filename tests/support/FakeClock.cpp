#include <Support/FakeClock.h>

#include <Base/Failure.h>

namespace halvo::test {

FakeClock::FakeClock(Date start) : start(start) {}

Date FakeClock::now() const {
    const std::scoped_lock lock(mutex);
    return start + passed;
}

std::chrono::steady_clock::time_point FakeClock::steadyNow() const {
    const std::scoped_lock lock(mutex);
    return std::chrono::steady_clock::time_point(passed);
}

void FakeClock::sleep(std::chrono::milliseconds duration, const std::stop_token& cancellation) {
    const std::scoped_lock lock(mutex);
    asked.push_back(duration);
    if (cancellation.stop_requested())
        throw CancelledError();
    passed += duration;
}

void FakeClock::advance(std::chrono::milliseconds duration) {
    const std::scoped_lock lock(mutex);
    passed += duration;
}

std::vector<std::chrono::milliseconds> FakeClock::sleeps() const {
    const std::scoped_lock lock(mutex);
    return asked;
}

} // namespace halvo::test
