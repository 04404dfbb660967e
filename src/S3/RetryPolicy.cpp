#include <S3/RetryPolicy.h>

#include <Base/Text.h>

#include <algorithm>

namespace halvo {

std::chrono::milliseconds retryDelay(int attempt, double randomUnit,
                                     std::optional<std::chrono::seconds> retryAfter) {
    using std::chrono::milliseconds;
    constexpr milliseconds first{500};
    constexpr milliseconds longest{8'000};
    constexpr std::chrono::seconds longestAskedFor{60};
    const milliseconds full = std::min(first * (1 << std::clamp(attempt - 1, 0, 10)), longest);
    const milliseconds half = full / 2;
    const milliseconds delay =
        half + std::chrono::floor<milliseconds>(randomUnit * std::chrono::duration<double, std::milli>(half));
    return std::max<milliseconds>(delay,
                                  std::min(retryAfter.value_or(std::chrono::seconds(0)), longestAskedFor));
}

std::optional<std::chrono::seconds> parseRetryAfter(const std::optional<std::string>& field) {
    const auto seconds = parseInteger(trimmed(field.value_or("")));
    if (!seconds || *seconds < 0)
        return std::nullopt;
    return std::chrono::seconds(*seconds);
}

} // namespace halvo
