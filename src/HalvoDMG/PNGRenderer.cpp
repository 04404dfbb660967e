#include <HalvoDMG/PNGRenderer.h>

namespace halvo {
namespace {

/// Pixels for each point: what a Retina display shows.
constexpr double retinaScale = 2;

} // namespace

std::string ImageCreatorError::describe(Case which) {
    switch (which) {
    case Case::failedToCreateImage:
        return "Could not draw the image. Its window must be 1 to 4096 points wide and high.";
    }
    return {};
}

Bytes PNGRenderer::render(const Drawing& view, double width, double height) const {
    if (auto png = images.renderPNG(view, width, height, retinaScale))
        return *std::move(png);
    throw ImageCreatorError(ImageCreatorError::Case::failedToCreateImage);
}

} // namespace halvo
