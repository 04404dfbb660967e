#pragma once

#include <HalvoCore/IconConverter.h>
#include <Platform/Files.h>

namespace halvo {

/// An icon as the service takes it: a temporary PNG of 256 by 256 pixels, removed with the object.
class UploadedIcon {
public:
    /// Throws IconConverter::Error.
    UploadedIcon(const URL& icon, const IconConverter& converter)
        : png(converter.writePNG(icon, 256).filePath()) {}
    UploadedIcon(const UploadedIcon&) = delete;
    UploadedIcon& operator=(const UploadedIcon&) = delete;
    ~UploadedIcon() { removeQuietly(png); }

    const std::filesystem::path& file() const { return png; }

private:
    std::filesystem::path png;
};

} // namespace halvo
