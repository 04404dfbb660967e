#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

namespace halvo {

/// Speed and remaining time of a transfer, smoothed over a few seconds. It reads no clock: times come in.
class TransferRate {
public:
    using TimePoint = std::chrono::steady_clock::time_point;

    /// Notes that `done` bytes were through at `now`; to be called at least a few times a second, also when
    /// nothing moved. Less than before means that the transfer began anew: the measurement does too.
    void record(TimePoint now, std::uint64_t done);
    /// Absent in the first half second and while nothing has come through.
    std::optional<double> bytesPerSecond() const;
    /// Rounded up. Absent without a rate, without a total, and beyond 100 hours, where it says nothing.
    std::optional<std::chrono::seconds> remaining(std::uint64_t total) const;

private:
    struct Sample {
        TimePoint time{};
        std::uint64_t done = 0;
    };
    std::optional<Sample> start;
    Sample last;
    std::optional<double> smoothed;
};

} // namespace halvo
