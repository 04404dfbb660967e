#include <HFSPlus/VolumeReader.h>

#include "CatalogReader.h"
#include "Format.h"
#include "Unfolder.h"

#include <algorithm>
#include <tuple>

namespace halvo::hfsplus {
namespace {

/// What a header says, in the terms of this reader.
struct VolumeHeader {
    std::uint32_t attributes = 0;
    std::uint32_t creationDate = 0;
    std::uint32_t freeBlocks = 0;
    CatalogID nextCatalogID = 0;
    std::uint64_t identifier = 0;
    Fork extents{};
    Fork catalog{};
};

/// Of a date that counts from 1904.
Date dateOf(std::uint32_t seconds) { return Date(std::chrono::seconds(seconds - secondsBefore1970)); }

void checkSignature(std::uint16_t signature) {
    if (signature == signatureHFSX)
        throw HFSPlusError(HFSPlusError::Unsupported{"HFSX, which can tell names apart by case"});
    if (signature == signatureHFS)
        throw HFSPlusError(HFSPlusError::Unsupported{"HFS without the Plus"});
    if (signature != signatureHFSPlus)
        throw HFSPlusError(HFSPlusError::NotAVolume{});
}

VolumeHeader readHeader(VolumeBlocks& volume, std::uint64_t length) {
    if (length < headerOffset + headerSize)
        throw HFSPlusError(HFSPlusError::NotAVolume{});
    Bytes bytes(headerSize);
    volume.source.read(volume.offset + headerOffset, bytes);
    BinaryReader reader(bytes);
    checkSignature(reader.readUInt16());
    reader.skip(2);
    VolumeHeader header;
    header.attributes = reader.readUInt32();
    reader.skip(8);
    header.creationDate = reader.readUInt32();
    reader.seek(40);
    volume.blockSize = reader.readUInt32();
    volume.totalBlocks = reader.readUInt32();
    header.freeBlocks = reader.readUInt32();
    reader.seek(64);
    header.nextCatalogID = reader.readUInt32();
    reader.seek(104);
    header.identifier = reader.readUInt64();
    if (volume.blockSize < 512 || (volume.blockSize & (volume.blockSize - 1)) != 0)
        failDamaged("its blocks have an impossible size");
    if (volume.totalBlocks > length / volume.blockSize)
        failDamaged("it is larger than the image");
    reader.seek(192);
    header.extents = readFork(reader, volume);
    header.catalog = readFork(reader, volume);
    return header;
}

OverflowExtents readOverflowExtents(const Fork& tree, const VolumeBlocks& volume) {
    OverflowExtents overflow;
    if (tree.size == 0)
        return overflow;
    std::tuple<std::uint32_t, std::uint8_t, std::uint32_t> previous;
    visitLeafRecords(tree, volume, [&](BinaryReader key, BinaryReader value) {
        const std::uint8_t forkType = key.readUInt8();
        key.skip(1);
        const std::uint32_t file = key.readUInt32();
        const std::uint32_t firstBlock = key.readUInt32();
        if (std::tuple(file, forkType, firstBlock) <= previous)
            failDamaged("the list of further extents is not in its order");
        previous = {file, forkType, firstBlock};
        if (forkType == 0) // data
            overflow[file].emplace(firstBlock, readExtents(value, volume));
    });
    return overflow;
}

} // namespace

struct VolumeReader::Volume {
    VolumeBlocks blocks;
    VolumeProperties properties{};
    std::uint32_t freeBlocks = 0;
    CatalogID nextCatalogID = 0;
    std::vector<VolumeItem> items{};
    std::uint64_t contentSize = 0;
};

VolumeReader::VolumeReader(BlockSource& source, std::uint64_t offset, std::uint64_t length,
                           const UnfoldLimits& limits)
    : volume(std::make_unique<Volume>(Volume{.blocks = {.source = source, .offset = offset}})) {
    if (offset > source.size() || length > source.size() - offset)
        throw HFSPlusError(HFSPlusError::ReadPastEnd{source.size()});
    try {
        VolumeHeader header = readHeader(volume->blocks, length);
        const OverflowExtents overflow = readOverflowExtents(header.extents, volume->blocks);
        completeFork(header.catalog, catalogFileID, overflow);
        CatalogContent content = readCatalog(header.catalog, overflow, volume->blocks,
                                             (header.attributes & volumeJournaled) != 0, limits);
        volume->properties = {.name = std::move(content.volumeName),
                              .creationDate = dateOf(header.creationDate),
                              .identifier = header.identifier,
                              .hasCustomIcon = content.hasCustomIcon};
        volume->freeBlocks = header.freeBlocks;
        volume->nextCatalogID = header.nextCatalogID;
        volume->items = std::move(content.items);
        volume->contentSize = content.contentSize;
    } catch (const BinaryReadError&) {
        failDamaged("a record is too short");
    }
}

VolumeReader::VolumeReader(VolumeReader&&) noexcept = default;
VolumeReader& VolumeReader::operator=(VolumeReader&&) noexcept = default;
VolumeReader::~VolumeReader() = default;

const VolumeProperties& VolumeReader::properties() const { return volume->properties; }
std::uint32_t VolumeReader::blockSize() const { return volume->blocks.blockSize; }
std::uint32_t VolumeReader::freeBlocks() const { return volume->freeBlocks; }
std::uint32_t VolumeReader::totalBlocks() const { return volume->blocks.totalBlocks; }
CatalogID VolumeReader::nextCatalogID() const { return volume->nextCatalogID; }
std::uint64_t VolumeReader::contentSize() const { return volume->contentSize; }

CatalogIDs VolumeReader::unfold(const std::filesystem::path& folder, const Progress& progress,
                                const std::stop_token& cancellation) {
    unfoldItems(volume->items, volume->blocks, folder, progress, cancellation);
    CatalogIDs ids;
    for (const VolumeItem& item : volume->items)
        ids.emplace(item.path, item.id);
    return ids;
}

} // namespace halvo::hfsplus
