#pragma once

#include <Base/Date.h>

#include <stop_token>

namespace halvo {

/// The time, and waiting for it.
class Clock {
public:
    virtual ~Clock() = default;
    virtual Date now() const = 0;
    /// A time that only goes forward, for measuring durations.
    virtual std::chrono::steady_clock::time_point steadyNow() const = 0;
    /// Returns after `duration`. Throws CancelledError as soon as `cancellation` is requested.
    virtual void sleep(std::chrono::milliseconds duration, const std::stop_token& cancellation) = 0;
};

class SystemClock final : public Clock {
public:
    Date now() const override;
    std::chrono::steady_clock::time_point steadyNow() const override;
    void sleep(std::chrono::milliseconds duration, const std::stop_token& cancellation) override;
};

} // namespace halvo
