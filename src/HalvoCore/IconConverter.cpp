#include <HalvoCore/IconConverter.h>

#include <Base/UUID.h>
#include <Platform/Files.h>

namespace halvo {

IconConverter::Error::Error(Case which)
    : Failure(which == Case::loadFailed ? "The icon could not be read."
                                        : "The icon could not be written as a PNG."),
      which(which) {}

URL IconConverter::writePNG(const URL& iconURL, unsigned size) const {
    std::optional<MappedFile> icon;
    try {
        icon.emplace(iconURL.filePath());
    } catch (const FileError&) {
        throw Error(Error::Case::loadFailed);
    }
    const auto png = images.renderPNG(icon->bytes(), size);
    if (!png)
        throw Error(Error::Case::loadFailed);
    const std::filesystem::path path = temporaryDirectory / ("icon-" + UUID::random().string() + ".png");
    try {
        writeNewFile(path, *png, 0600);
    } catch (const FileError&) {
        throw Error(Error::Case::encodeFailed);
    }
    return URL::file(path);
}

} // namespace halvo
