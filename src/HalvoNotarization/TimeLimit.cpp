#include "TimeLimit.h"

#include <Base/Text.h>

#include <algorithm>

namespace halvo {

std::chrono::seconds timeLimit(const Environment& environment, const std::string& variable,
                               std::chrono::seconds fallback) {
    const auto text = environment.nonEmpty(variable);
    const auto value = text ? parseInteger(*text) : std::nullopt;
    if (!value)
        return fallback;
    // Comparing times in nanoseconds must not overflow.
    constexpr std::int64_t tenYears = 10LL * 365 * 24 * 3600;
    return std::chrono::seconds(std::clamp(*value, -tenYears, tenYears));
}

std::string durationText(std::chrono::seconds duration) {
    return std::to_string(duration.count()) + (duration.count() == 1 ? " second" : " seconds");
}

} // namespace halvo
