#pragma once

#include <Base/Failure.h>
#include <Base/URL.h>
#include <Platform/ImageServices.h>

#include <filesystem>

namespace halvo {

/// Turns an icon file into a PNG for upload.
class IconConverter {
public:
    class Error : public Failure {
    public:
        enum class Case { loadFailed, encodeFailed };
        explicit Error(Case which);
        Case which;
    };

    IconConverter(ImageServices& images, std::filesystem::path temporaryDirectory)
        : images(images), temporaryDirectory(std::move(temporaryDirectory)) {}

    /// Draws the icon into `size` by `size` pixels (size above zero) and writes "icon-<UUID>.png" to the
    /// temporary directory; the caller removes it. Throws Error `loadFailed` for what is no readable picture.
    URL writePNG(const URL& iconURL, unsigned size) const;

private:
    ImageServices& images;
    std::filesystem::path temporaryDirectory;
};

} // namespace halvo
