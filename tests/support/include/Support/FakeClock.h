#pragma once

#include <Platform/Clock.h>

#include <chrono>
#include <mutex>
#include <vector>

namespace halvo::test {

/// A clock whose time passes only while somebody sleeps, and then at once. Usable from several threads.
class FakeClock final : public Clock {
public:
    explicit FakeClock(Date start = Date(std::chrono::sys_days(std::chrono::year(2026) / 11 / 22)));

    Date now() const override;
    std::chrono::steady_clock::time_point steadyNow() const override;
    void sleep(std::chrono::milliseconds duration, const std::stop_token& cancellation) override;

    /// Lets time pass without a sleep.
    void advance(std::chrono::milliseconds duration);
    /// Every sleep that was asked for, in order, also those that were cancelled.
    std::vector<std::chrono::milliseconds> sleeps() const;

private:
    mutable std::mutex mutex;
    Date start;
    std::chrono::milliseconds passed{0};
    std::vector<std::chrono::milliseconds> asked;
};

} // namespace halvo::test
