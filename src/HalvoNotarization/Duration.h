#pragma once

#include <chrono>
#include <string>

namespace halvo {

/// "60 seconds", "1 second".
inline std::string durationText(std::chrono::milliseconds duration) {
    const auto seconds = std::chrono::round<std::chrono::seconds>(duration).count();
    return std::to_string(seconds) + (seconds == 1 ? " second" : " seconds");
}

} // namespace halvo
