#include <DiskImage/DiskImages.h>

#include "ImagePath.h"
#include "NewFile.h"
#include "OpenImage.h"

#include <DiskImage/PartitionMap.h>
#include <DiskImage/UDIFWriter.h>

#include <cerrno>

namespace halvo {

namespace fs = std::filesystem;

fs::path newImagePath(const fs::path& given) {
    fs::path path = fs::absolute(given);
    if (path.extension() != ".dmg")
        path += ".dmg";
    if (fs::exists(fs::symlink_status(path)))
        throw DiskImageError(DiskImageError::System{EEXIST});
    return path;
}

fs::path DiskImages::convert(const fs::path& image, const fs::path& given, Compression compression,
                             const Progress& progress) {
    fs::path output = newImagePath(given);
    OpenImage opened(image, OpenImage::Access::read);
    // What is in the folder is not yet in the image.
    if (const auto volume = attachedVolume(image); volume && volume->isWritable)
        throw DiskImageError(DiskImageError::System{EAGAIN});
    const PartitionMap map = readPartitionMap(opened.disk());
    NewFile file(output);
    writeUDIF(opened.disk(), map, file.descriptor(), output, {.compression = compression}, progress,
              context.cancellation);
    file.publish();
    return output;
}

} // namespace halvo
