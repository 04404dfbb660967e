#include <DiskImage/DiskImages.h>

#include "FolderState.h"
#include "OpenImage.h"
#include "SevenZip.h"

#include <DiskImage/PartitionMap.h>
#include <HFSPlus/VolumeReader.h>
#include <Platform/Files.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t sectorSize = 512;

/// The partition that macOS would mount, counted from 1 on the disk, 0 for a disk without a map.
struct ChosenPartition {
    Partition partition{};
    std::size_t number = 0;
};

std::optional<ChosenPartition> choose(const PartitionMap& map) {
    constexpr std::array<std::string_view, 6> mountable{
        "Apple_HFS", "Apple_HFSX", "Apple_APFS", "Microsoft Basic Data", "DOS_FAT_32", "DOS_FAT_16"};
    if (map.scheme == PartitionMap::Scheme::none)
        return ChosenPartition{map.partitions.front(), 0};
    for (const std::string_view type : mountable)
        for (std::size_t index = 0; index < map.partitions.size(); ++index)
            if (map.partitions[index].type == type)
                return ChosenPartition{map.partitions[index], index + 1};
    return std::nullopt;
}

bool isChangeable(OpenImage& image) {
    if (!image.isRaw())
        return false;
    try {
        readSingleVolumeDisk(image.disk());
        return true;
    } catch (const DiskImageError&) {
        return false; // laid out in a way that is not written here
    }
}

/// A file without a map, and without the signature of any file system that could fill it.
bool isNoImage(OpenImage& image, const PartitionMap& map) {
    struct Signature {
        std::uint64_t offset = 0;
        std::string_view text{};
    };
    constexpr std::array<Signature, 3> signatures{
        {{510, "\x55\xAA"}, {32769, "CD001"}, {32769, "BEA01"}}}; // FAT and its kin, ISO 9660, UDF
    if (!image.isRaw() || map.scheme != PartitionMap::Scheme::none ||
        map.partitions.front().type != unknownPartition)
        return false;
    return std::none_of(signatures.begin(), signatures.end(), [&](const Signature& signature) {
        Bytes found(signature.text.size());
        if (image.disk().size() < signature.offset + found.size())
            return false;
        image.disk().read(signature.offset, found);
        return viewText(found) == signature.text;
    });
}

/// Compressions that only another reader knows are left to that one.
void verifyWhatCanBeRead(OpenImage& image, const std::stop_token& cancellation) {
    try {
        image.verify(cancellation);
    } catch (const DiskImageError& error) {
        if (!std::holds_alternative<DiskImageError::NeedsSevenZip>(error.which))
            throw;
    }
}

/// Why another reader has to try; absent when none can help.
std::optional<std::string> reasonForAnotherReader(const std::exception& failure) {
    using hfsplus::HFSPlusError;
    if (const auto* error = dynamic_cast<const DiskImageError*>(&failure)) {
        if (const auto* needs = std::get_if<DiskImageError::NeedsSevenZip>(&error->which))
            return needs->what;
    } else if (const auto* volume = dynamic_cast<const HFSPlusError*>(&failure)) {
        if (std::holds_alternative<HFSPlusError::NotAVolume>(volume->which))
            return "a volume that is not HFS+";
        if (const auto* unsupported = std::get_if<HFSPlusError::Unsupported>(&volume->which))
            return unsupported->feature;
    }
    return std::nullopt;
}

void unfoldHere(hfsplus::BlockSource& disk, const Partition& partition, const AttachedVolumes::Slot& slot,
                AttachedVolume& volume, const std::stop_token& cancellation) {
    hfsplus::VolumeReader reader(disk, partition.firstSector * sectorSize,
                                 partition.sectorCount * sectorSize);
    volume.name = reader.properties().name;
    volume.creationDate = reader.properties().creationDate;
    volume.hasCustomIcon = reader.properties().hasCustomIcon;
    volume.nextCatalogID = reader.nextCatalogID();
    volume.volumeHint = "Apple_HFS";
    volume.mountPoint = slot.makeMountPoint(volume.name);
    const hfsplus::CatalogIDs ids = reader.unfold(volume.mountPoint, {}, cancellation);
    const FolderState state = readFolderState(volume.mountPoint);
    volume.fingerprint = state.fingerprint;
    volume.catalogIDs = idsByInode(state, ids);
}

/// Adding to a volume that is not written back would be lost. Deeper folders stay as they are, so that what
/// is copied out of it can be changed.
void closeForWriting(const fs::path& mountPoint) {
    if (::chmod(mountPoint.c_str(), 0500) != 0)
        throw FileError("protect", mountPoint, errno);
}

} // namespace

std::optional<AttachedVolume> DiskImages::attachedVolume(const fs::path& image) const {
    for (AttachedVolume& volume : context.volumes.list()) {
        std::error_code gone;
        if (fs::equivalent(volume.imagePath, image, gone))
            return std::move(volume);
    }
    return std::nullopt;
}

void DiskImages::unfoldForeign(const AttachedVolumes::Slot& slot, AttachedVolume& volume,
                               const std::string& reason) const {
    if (!volume.mountPoint.empty())
        fs::remove_all(volume.mountPoint.parent_path()); // where the other reader began; empty again
    SevenZip sevenZip(context.processes, context.environment, context.cancellation);
    const SevenZip::Unfolded unfolded = sevenZip.unfold(volume.imagePath, slot.path() / "unfolded", reason);
    volume.name = unfolded.volumeName.empty() ? volume.imagePath.stem().string() : unfolded.volumeName;
    volume.creationDate = context.now;
    volume.nextCatalogID = 0;
    volume.mountPoint = slot.makeMountPoint(volume.name);
    // An empty folder gives way.
    if (::rename(unfolded.folder.c_str(), volume.mountPoint.c_str()) != 0)
        throw FileError("move", unfolded.folder, errno);
}

AttachedVolume DiskImages::attach(const fs::path& image, bool readOnly, bool verify) {
    const bool writes = !readOnly && ::access(image.c_str(), W_OK) == 0;
    OpenImage opened(image, writes ? OpenImage::Access::write : OpenImage::Access::read);
    if (auto attached = attachedVolume(image))
        return *std::move(attached);

    const AttachedVolumes::Slot slot = context.volumes.reserve();
    AttachedVolume volume{
        .device = slot.device(), .imagePath = fs::canonical(image), .latestDate = latestDate};
    try {
        std::optional<std::string> foreign;
        try {
            const PartitionMap map = readPartitionMap(opened.disk());
            const std::optional<ChosenPartition> chosen = choose(map);
            if (!chosen || isNoImage(opened, map))
                throw DiskImageError(DiskImageError::NotRecognized{});
            volume.mapHint = map.contentHint();
            volume.volumeHint = chosen->partition.type;
            volume.partition = volume.device + (chosen->number ? "s" + std::to_string(chosen->number) : "");
            unfoldHere(opened.disk(), chosen->partition, slot, volume, context.cancellation);
            if (verify) // now that most of it has been read
                opened.verify(context.cancellation);
            volume.isWritable = writes && isChangeable(opened);
        } catch (const Failure& failure) {
            foreign = reasonForAnotherReader(failure);
            if (!foreign)
                throw;
        }
        if (foreign) {
            if (verify)
                verifyWhatCanBeRead(opened, context.cancellation);
            unfoldForeign(slot, volume, *foreign);
        }
        if (!volume.isWritable)
            closeForWriting(volume.mountPoint);
        slot.store(volume);
    } catch (...) {
        slot.remove();
        context.volumes.removeUnusedFolder();
        throw;
    }
    return volume;
}

} // namespace halvo
