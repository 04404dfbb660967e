#include <HalvoDMG/NormalizedBackground.h>

#include <fmt/format.h>

namespace halvo {

const URL& NormalizedBackground::url() const {
    return std::visit([](const auto& background) -> const URL& { return background.url; }, which);
}

PixelSize NormalizedBackground::pixelSize() const {
    return std::visit([](const auto& background) { return background.pixelSize; }, which);
}

std::optional<std::string> NormalizedBackground::retinaWarning(PointSize window) const {
    const auto [width, height] = pixelSize();
    if (width >= 2 * window.width)
        return std::nullopt;
    return fmt::format("The background is {}x{} px and will look soft on Retina displays. Export at {}x{} "
                       "for full sharpness.",
                       width, height, 2 * window.width, 2 * window.height);
}

} // namespace halvo
