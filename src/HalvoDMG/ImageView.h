#pragma once

#include <Platform/Drawing.h>

#include <optional>
#include <string>

namespace halvo {

/// The generated background of a disk image's window.
struct ImageView {
    /// From the middle of the canvas to the middle of the arrow. In the standard window the icons' line is at
    /// y 174 and the middle at 200.
    static constexpr double verticalOffset = -26;

    double width = 0; ///< in points
    double height = 0;
    std::optional<std::string> name{}; ///< of the app
    bool watermark = false;            ///< adds "Built with" and the service's name

    Drawing draw() const;
};

} // namespace halvo
