#pragma once

#include <Base/Failure.h>
#include <Base/URL.h>
#include <HalvoDMG/DMGConfiguration.h>
#include <Platform/ImageServices.h>

#include <optional>
#include <string>

namespace halvo {

/// The picture behind the window of a disk image.
struct Background {
    Bytes picture{};
    std::string extension = "png"; ///< of its file, in small letters
    /// What to tell the user about a picture that is not sharp on every display.
    std::optional<std::string> retinaWarning{};
};

struct ImageCreatorCases {
    struct FailedToCreateImage {
        std::string description() const {
            return "Could not draw the image. Its window must be 1 to 4096 points wide and high.";
        }
    };
    using Case = std::variant<FailedToCreateImage>;
};
/// A picture that could not be made.
using ImageCreatorError = FailureOf<ImageCreatorCases>;

/// Draws an arrow from the app to the Applications link and a line that says what to do. `appName` is left
/// out when the installed fonts lack one of its characters, which would show as a box. `watermark` adds the
/// line that names the service. Throws ImageCreatorError or Failure (no font is installed).
Background generatedBackground(PointSize window, const std::optional<std::string>& appName, bool watermark,
                               ImageServices& images);

/// Checks a picture of the user's (PNG, JPEG or TIFF) and gives it the DPI tags that make it as large as the
/// window, unless it has them. Only headers are read for the check, whatever size they claim; pixels are
/// never decoded.
///
/// Throws DMGCreationError: InvalidBackgroundImage, BackgroundAspectMismatch (by more than 0.5 %),
/// BackgroundTooSmall (fewer pixels than the window has points) or BackgroundNormalizationFailed (the tags
/// cannot be changed).
Background fittedBackground(const URL& picture, PointSize window, ImageServices& images);

/// The blueprint that a designer works over: a PNG of the configuration's window that marks where the Finder
/// puts icons and labels. Throws as generatedBackground() does.
Bytes drawBackgroundTemplate(const DMGConfiguration& configuration, ImageServices& images);

} // namespace halvo
