#include <DiskImage/DiskImages.h>

#include "FolderState.h"
#include "NewFile.h"
#include "OpenImage.h"

#include <DiskImage/PartitionMap.h>
#include <HFSPlus/VolumeContents.h>
#include <HFSPlus/VolumeReader.h>
#include <Platform/Files.h>

#include <cerrno>

namespace halvo {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t sectorSize = 512;
constexpr std::string_view deviceFolder = "/dev/";

hfsplus::VolumeProperties propertiesOf(OpenImage& image, const SingleVolumeDisk& disk) {
    const hfsplus::VolumeReader reader(image.disk(), SingleVolumeDisk::firstSector * sectorSize,
                                       disk.volumeSectors() * sectorSize);
    return reader.properties();
}

std::optional<AttachedVolume> findTarget(const AttachedVolumes& volumes, const std::string& target) {
    if (auto volume = volumes.findDevice(target.starts_with(deviceFolder) ? target.substr(deviceFolder.size())
                                                                          : target))
        return volume;
    const fs::path wanted = fs::weakly_canonical(target);
    for (AttachedVolume& volume : volumes.list())
        if (volume.mountPoint == wanted || volume.mountPoint == wanted.parent_path() / wanted.filename())
            return std::move(volume);
    return std::nullopt;
}

} // namespace

void DiskImages::writeBack(const AttachedVolume& volume) const {
    OpenImage image(volume.imagePath, OpenImage::Access::write);
    const SingleVolumeDisk disk = readSingleVolumeDisk(image.disk());
    hfsplus::VolumeProperties properties = propertiesOf(image, disk);
    const FolderState state = readFolderState(volume.mountPoint);
    if (state.fingerprint == volume.fingerprint && properties.hasCustomIcon == volume.hasCustomIcon)
        return;
    properties.hasCustomIcon = volume.hasCustomIcon;
    const hfsplus::VolumeContents contents(
        volume.mountPoint,
        {.latestDate = volume.latestDate, .knownIDs = idsByPath(state, volume.catalogIDs)});
    NewFile file(volume.imagePath);
    file.resize(disk.sectorCount * sectorSize);
    writePartitionMap(file.descriptor(), volume.imagePath, disk);
    contents.write(file.descriptor(), SingleVolumeDisk::firstSector * sectorSize,
                   disk.volumeSectors() * sectorSize, properties, {}, context.cancellation);
    file.replace();
}

std::string DiskImages::detach(const std::string& target) {
    const std::optional<AttachedVolume> found = findTarget(context.volumes, target);
    const auto slot = found ? context.volumes.lock(found->device) : std::nullopt;
    if (!slot)
        throw DiskImageError(DiskImageError::System{ENOENT});
    const AttachedVolume volume = slot->record().value();
    if (volume.isWritable)
        writeBack(volume);
    slot->remove();
    context.volumes.removeUnusedFolder();
    return volume.device;
}

} // namespace halvo
