#include <DiskImage/DiskImages.h>

#include "ImagePath.h"
#include "NameUUID.h"
#include "NewFile.h"

#include <Base/BinaryWriter.h>
#include <Base/Text.h>
#include <DiskImage/PartitionMap.h>
#include <HFSPlus/VolumeContents.h>
#include <Platform/Files.h>

#include <algorithm>
#include <cerrno>

namespace halvo {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t sectorSize = 512;
constexpr std::uint64_t blockSectors = 8;
/// Room for a few small files to come, as macOS leaves some.
constexpr std::uint64_t spareBytes = 2u << 20;

std::optional<Date> sourceDate(const Environment& environment) {
    const std::optional<std::string> text = environment.nonEmpty("SOURCE_DATE_EPOCH");
    if (!text)
        return std::nullopt;
    const std::optional<std::int64_t> seconds = parseInteger(*text);
    constexpr std::int64_t lastSecond = 253402300799; // of the year 9999
    if (!seconds || *seconds < 0 || *seconds > lastSecond)
        throw DiskImageError(
            DiskImageError::Unsupported{"SOURCE_DATE_EPOCH is no number of seconds: " + *text});
    return Date(std::chrono::seconds(*seconds));
}

/// Bytes that tell this content from others, for the image's identifiers.
Bytes seedOf(const hfsplus::VolumeContents& contents, const hfsplus::VolumeProperties& properties) {
    BinaryWriter seed;
    seed.writeText(properties.name);
    seed.writeUInt64(static_cast<std::uint64_t>(properties.creationDate.time_since_epoch().count()));
    seed.writeUInt64(contents.minimumSize(properties.name));
    for (const auto& [path, id] : contents.catalogIDs()) {
        seed.writeUInt32(id);
        seed.writeText(path);
        seed.writeUInt8(0);
    }
    return seed.take();
}

UUID identifier(Bytes seed, std::uint8_t purpose) {
    seed.push_back(purpose);
    return nameUUID(seed);
}

std::uint64_t volumeIdentifier(const UUID& uuid) {
    std::uint64_t value = 0;
    for (std::size_t index = 0; index < sizeof value; ++index)
        value = value << 8 | uuid.bytes()[index];
    return value;
}

} // namespace

DiskImages::DiskImages(Context services)
    : context(std::move(services)), latestDate(sourceDate(context.environment)) {}

fs::path DiskImages::create(const fs::path& folder, const std::string& volumeName, const fs::path& image,
                            const Progress& progress) {
    fs::path output = newImagePath(image);
    const hfsplus::VolumeContents contents(folder, {.latestDate = latestDate});
    hfsplus::VolumeProperties properties{
        .name = volumeName, .creationDate = std::min(context.now, latestDate.value_or(context.now))};
    const Bytes seed = seedOf(contents, properties);
    properties.identifier = volumeIdentifier(identifier(seed, 'v'));
    const std::uint64_t volumeSectors =
        (contents.minimumSize(volumeName) + spareBytes) / sectorSize / blockSectors * blockSectors +
        blockSectors;
    const SingleVolumeDisk disk{.sectorCount = SingleVolumeDisk::overhead + volumeSectors,
                                .diskID = identifier(seed, 'd'),
                                .partitionID = identifier(seed, 'p')};

    NewFile file(output);
    file.resize(disk.sectorCount * sectorSize);
    writePartitionMap(file.descriptor(), output, disk);
    contents.write(file.descriptor(), SingleVolumeDisk::firstSector * sectorSize,
                   disk.volumeSectors() * sectorSize, properties, progress, context.cancellation);
    file.publish();
    return output;
}

} // namespace halvo
