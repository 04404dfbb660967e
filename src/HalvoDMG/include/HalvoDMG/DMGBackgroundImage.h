#pragma once

#include <Base/URL.h>
#include <HalvoDMG/PNGRenderer.h>

#include <filesystem>
#include <optional>
#include <string>

namespace halvo {

/// Draws the background of a disk image's window: an arrow from the app to the Applications link and a line
/// that says what to do.
class DMGBackgroundImage {
public:
    DMGBackgroundImage(ImageServices& images, std::filesystem::path temporaryDirectory)
        : images(images), temporaryDirectory(std::move(temporaryDirectory)) {}

    /// A picture for a window of `width` by `height` points, with two pixels for each point and 144 DPI, as
    /// `background-<UUID>.png` in the temporary directory. The caller owns the file. `name` is that of the
    /// app; it is left out when the installed fonts lack one of its characters, which would show as a box.
    /// `watermark` adds the line that names the service.
    /// Throws ImageCreatorError, Failure (no font is installed) or FileError.
    URL create(double width, double height, const std::optional<std::string>& name, bool watermark) const;

private:
    ImageServices& images;
    std::filesystem::path temporaryDirectory;
};

} // namespace halvo
