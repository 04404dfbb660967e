#pragma once

#include <Platform/Clock.h>

namespace halvo::test {

/// A clock that runs `factor` times as fast as the real one, so that tests with real processes need not wait
/// as long as people do.
class ScaledClock final : public Clock {
public:
    explicit ScaledClock(int factor) : factor(factor) {}

    Date now() const override { return real.now(); }
    std::chrono::steady_clock::time_point steadyNow() const override {
        return start + (real.steadyNow() - start) * factor;
    }
    void sleep(std::chrono::milliseconds duration, const std::stop_token& cancellation) override {
        real.sleep(duration / factor, cancellation);
    }

private:
    int factor;
    SystemClock real;
    std::chrono::steady_clock::time_point start = real.steadyNow();
};

} // namespace halvo::test
