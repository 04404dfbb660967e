#pragma once

#include <chrono>
#include <optional>
#include <string>

namespace halvo {

/// How often a request is sent at most, the first time included.
inline constexpr int maximumAttempts = 5;

/// How long to wait after attempt number `attempt` (from 1) failed: exponentially longer, up to 8 seconds, of
/// which `randomUnit` (0 up to 1) decides the second half, so that many clients do not come back at the same
/// moment. What the server asked for is waited too, up to a minute.
std::chrono::milliseconds retryDelay(int attempt, double randomUnit,
                                     std::optional<std::chrono::seconds> retryAfter);

/// The seconds of a `Retry-After` field; absent for its other form, a date, and for anything else.
std::optional<std::chrono::seconds> parseRetryAfter(const std::optional<std::string>& field);

} // namespace halvo
