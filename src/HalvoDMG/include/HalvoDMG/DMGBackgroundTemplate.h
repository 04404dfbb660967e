#pragma once

#include <HalvoDMG/DMGConfiguration.h>
#include <HalvoDMG/PNGRenderer.h>

namespace halvo {

/// Draws the blueprint that a designer works over.
class DMGBackgroundTemplate {
public:
    explicit DMGBackgroundTemplate(ImageServices& images) : images(images) {}

    /// A PNG of the configuration's window, with two pixels for each point and 144 DPI, that marks where the
    /// Finder puts icons and labels. Throws ImageCreatorError or Failure (no font is installed).
    Bytes create(const DMGConfiguration& configuration) const;

private:
    ImageServices& images;
};

} // namespace halvo
