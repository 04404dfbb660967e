#pragma once

#include <HalvoDMG/DMGConfiguration.h>
#include <Platform/Drawing.h>

namespace halvo {

/// The blueprint for designers: the window with the places of icons and labels, in the Finder's coordinates.
struct TemplateView {
    static constexpr Colour blueprintBlue{.red = 0.09, .green = 0.25, .blue = 0.5, .opacity = 1};

    DMGConfiguration configuration{};

    Drawing draw() const;
};

} // namespace halvo
