#pragma once

#include <HalvoDMG/DMGCreationError.h>
#include <HalvoDMG/NormalizedBackground.h>
#include <Platform/ImageServices.h>

#include <filesystem>

namespace halvo {

/// Checks a background picture of the user's (PNG, JPEG or TIFF) and sees to it that its DPI tags make it as
/// large as the window. Only headers are read for a check, whatever size they claim; pixels are never
/// decoded.
class DMGBackgroundNormalizer {
public:
    /// Copies are made in `temporaryDirectory`.
    DMGBackgroundNormalizer(ImageServices& images, std::filesystem::path temporaryDirectory)
        : images(images), temporaryDirectory(std::move(temporaryDirectory)) {}

    /// Throws DMGCreationError: InvalidBackgroundImage, BackgroundAspectMismatch (by more than 0.5 %),
    /// BackgroundTooSmall (fewer pixels than the window has points) or BackgroundNormalizationFailed (the
    /// copy could not be made). A failure leaves no file behind.
    NormalizedBackground normalize(const URL& url, PointSize window) const;
    /// The same check; a copy is removed at once.
    void validate(const URL& url, PointSize window) const;

private:
    ImageServices& images;
    std::filesystem::path temporaryDirectory;
};

} // namespace halvo
