#pragma once

#include <cstdint>

namespace halvo {

/// The size of a window or a picture as the Finder shows it, in points.
struct PointSize {
    std::int64_t width = 0;
    std::int64_t height = 0;
    bool operator==(const PointSize&) const = default;
};

/// The size of a picture as it is stored. The Finder shows it at pixels * 72 / DPI points.
struct PixelSize {
    std::int64_t width = 0;
    std::int64_t height = 0;
    bool operator==(const PixelSize&) const = default;
};

} // namespace halvo
