#include <HalvoCore/IconConverter.h>

#include <Base/UUID.h>
#include <Platform/Files.h>

namespace halvo {

URL IconConverter::writePNG(const URL& iconURL, unsigned size) const {
    std::optional<MappedFile> icon;
    try {
        icon.emplace(iconURL.filePath());
    } catch (const FileError&) {
        throw Error(Error::LoadFailed());
    }
    const auto png = images.renderPNG(icon->bytes(), size);
    if (!png)
        throw Error(Error::LoadFailed());
    const std::filesystem::path path = temporaryDirectory / ("icon-" + UUID::random().string() + ".png");
    try {
        writeNewFile(path, *png, 0600);
    } catch (const FileError&) {
        throw Error(Error::EncodeFailed());
    }
    return URL::file(path);
}

} // namespace halvo
