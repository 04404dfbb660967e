#pragma once

#include <Base/Failure.h>
#include <Base/URL.h>
#include <Platform/ImageServices.h>

#include <filesystem>

namespace halvo {

/// Turns an icon file into a PNG for upload.
class IconConverter {
public:
    struct Cases {
        struct LoadFailed {
            std::string description() const { return "The icon could not be read."; }
        };
        struct EncodeFailed {
            std::string description() const { return "The icon could not be written as a PNG."; }
        };
        using Case = std::variant<LoadFailed, EncodeFailed>;
    };
    using Error = FailureOf<Cases>;

    IconConverter(ImageServices& images, std::filesystem::path temporaryDirectory)
        : images(images), temporaryDirectory(std::move(temporaryDirectory)) {}

    /// Draws the icon into `size` by `size` pixels (size above zero) and writes "icon-<UUID>.png" to the
    /// temporary directory; the caller removes it. Throws Error::LoadFailed for what is not a readable
    /// picture.
    URL writePNG(const URL& iconURL, unsigned size) const;

private:
    ImageServices& images;
    std::filesystem::path temporaryDirectory;
};

} // namespace halvo
