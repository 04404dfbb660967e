#include <DiskImage/DiskImages.h>

#include "OpenImage.h"
#include "VolumeResize.h"

#include <DiskImage/PartitionMap.h>
#include <Platform/Files.h>

#include <cerrno>
#include <utility>

#include <unistd.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t sectorSize = 512;
/// The backup of the map at the disk's end.
constexpr std::uint64_t backupSectors = 33;

/// An image whose size can be changed, and its volume.
struct ResizableImage {
    OpenImage image;
    SingleVolumeDisk disk;
    VolumeResize volume;

    ResizableImage(const fs::path& path, OpenImage::Access access)
        : image(path, access), disk(layout(image)),
          volume(image.descriptor(), path, SingleVolumeDisk::firstSector * sectorSize,
                 disk.volumeSectors() * sectorSize) {}

    std::uint64_t minimumSectors() const {
        return SingleVolumeDisk::overhead + (volume.minimumSize() + sectorSize - 1) / sectorSize;
    }

private:
    static SingleVolumeDisk layout(OpenImage& image) {
        if (!image.isRaw())
            throw DiskImageError(DiskImageError::Unsupported{"a compressed image cannot be resized"});
        return readSingleVolumeDisk(image.disk());
    }
};

} // namespace

DiskImages::Limits DiskImages::limits(const fs::path& path) {
    const ResizableImage resizable(path, OpenImage::Access::read);
    const std::uint64_t room = fs::space(fs::absolute(path).parent_path()).available / sectorSize;
    return {.minimum = resizable.minimumSectors(),
            .current = resizable.disk.sectorCount,
            .maximum = resizable.disk.sectorCount + room};
}

void DiskImages::resize(const fs::path& path, std::uint64_t bytes) {
    ResizableImage resizable(path, OpenImage::Access::write);
    if (attachedVolume(path))
        throw DiskImageError(DiskImageError::System{EBUSY});
    const std::uint64_t sectors = bytes / sectorSize;
    if (sectors < resizable.minimumSectors())
        throw DiskImageError(DiskImageError::BelowMinimum{resizable.minimumSectors()});
    SingleVolumeDisk disk = resizable.disk;
    const int file = resizable.image.descriptor();
    const auto setSize = [&](std::uint64_t count) {
        if (::ftruncate(file, static_cast<off_t>(count * sectorSize)) != 0)
            throw FileError("resize", path, errno);
    };
    const std::uint64_t oldCount = std::exchange(disk.sectorCount, sectors);
    if (sectors > oldCount) {
        // The old backup of the map would lie in the volume. Until the new one stands, the first map counts.
        setSize(oldCount - backupSectors);
        setSize(sectors);
    }
    resizable.volume.resize(disk.volumeSectors() * sectorSize);
    writePartitionMap(file, path, disk);
    if (sectors < oldCount)
        setSize(sectors);
    if (::fsync(file) != 0)
        throw FileError("write", path, errno);
}

} // namespace halvo
