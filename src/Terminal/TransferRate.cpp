#include <Terminal/TransferRate.h>

#include <cmath>

namespace halvo {
namespace {

using Seconds = std::chrono::duration<double>;

constexpr Seconds shortestInterval{0.1};
constexpr Seconds startUp{0.5};
/// After this time without a change, an old speed has faded to a third.
constexpr Seconds memory{3};
constexpr double slowest = 1; ///< bytes per second; what is slower has stalled
constexpr Seconds longest = std::chrono::hours(100);

} // namespace

void TransferRate::record(TimePoint now, std::uint64_t done) {
    if (!start || done < last.done || now < last.time) {
        start = last = {now, done};
        smoothed.reset();
        return;
    }
    const Seconds elapsed = now - last.time;
    if (!smoothed) {
        const Seconds sinceStart = now - start->time;
        if (sinceStart < startUp || done == start->done) {
            last.done = done;
            last.time = now;
            return;
        }
        smoothed = static_cast<double>(done - start->done) / sinceStart.count();
    } else {
        if (elapsed < shortestInterval)
            return; // `last` stays, so these bytes count in the next interval
        const double current = static_cast<double>(done - last.done) / elapsed.count();
        const double weight = 1 - std::exp(-elapsed / memory);
        *smoothed += weight * (current - *smoothed);
    }
    last = {now, done};
}

std::optional<double> TransferRate::bytesPerSecond() const { return smoothed; }

std::optional<std::chrono::seconds> TransferRate::remaining(std::uint64_t total) const {
    if (!smoothed || *smoothed < slowest || total == 0)
        return std::nullopt;
    if (last.done >= total)
        return std::chrono::seconds(0);
    const Seconds left(static_cast<double>(total - last.done) / *smoothed);
    if (left > longest)
        return std::nullopt;
    return std::chrono::ceil<std::chrono::seconds>(left);
}

} // namespace halvo
