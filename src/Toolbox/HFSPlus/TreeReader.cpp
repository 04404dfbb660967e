#include "TreeReader.h"

#include "Format.h"

#include <HFSPlus/HFSPlusError.h>

#include <algorithm>

namespace halvo::hfsplus {
namespace {

constexpr std::size_t headerBytes = 256; ///< of a header node: the descriptor and the fixed records

std::vector<std::size_t> readRecordOffsets(const Bytes& node, std::uint16_t count) {
    const std::size_t tableSize = (std::size_t{count} + 1) * 2;
    if (tableSize > node.size() - nodeDescriptorSize)
        failDamaged("a node has more records than room");
    std::vector<std::size_t> offsets;
    std::size_t previous = nodeDescriptorSize;
    for (std::size_t index = 0; index <= count; ++index) {
        const std::size_t offset = BinaryReader(node).block(node.size() - 2 * (index + 1), 2).readUInt16();
        if (offset < previous || offset > node.size() - tableSize)
            failDamaged("a node's records overlap");
        offsets.push_back(previous = offset);
    }
    return offsets;
}

} // namespace

void failDamaged(std::string reason) { throw HFSPlusError(HFSPlusError::Damaged{std::move(reason)}); }

void VolumeBlocks::read(const Fork& fork, std::uint64_t position, std::span<std::uint8_t> into) const {
    for (const Extent& extent : fork.extents) {
        const std::uint64_t length = std::uint64_t{extent.blockCount} * blockSize;
        if (position >= length) {
            position -= length;
            continue;
        }
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(length - position, into.size()));
        source.read(offset + std::uint64_t{extent.firstBlock} * blockSize + position, into.first(count));
        into = into.subspan(count);
        position = 0;
        if (into.empty())
            return;
    }
    if (!into.empty())
        failDamaged("a file ends too early");
}

std::vector<Extent> readExtents(BinaryReader& reader, const VolumeBlocks& volume) {
    std::vector<Extent> extents;
    bool ended = false;
    for (std::size_t index = 0; index < extentsPerRecord; ++index) {
        const Extent extent{reader.readUInt32(), reader.readUInt32()};
        ended = ended || extent.blockCount == 0;
        if (ended)
            continue;
        if (extent.firstBlock >= volume.totalBlocks ||
            extent.blockCount > volume.totalBlocks - extent.firstBlock)
            failDamaged("a file lies past the end of the volume");
        extents.push_back(extent);
    }
    return extents;
}

Fork readFork(BinaryReader& reader, const VolumeBlocks& volume) {
    Fork fork;
    fork.size = reader.readUInt64();
    reader.skip(4); // clump size
    fork.blocks = reader.readUInt32();
    if (fork.blocks > volume.totalBlocks || fork.size > std::uint64_t{fork.blocks} * volume.blockSize)
        failDamaged("a file is larger than its blocks");
    fork.extents = readExtents(reader, volume);
    return fork;
}

void completeFork(Fork& fork, std::uint32_t file, const OverflowExtents& overflow) {
    std::uint64_t covered = 0;
    const auto cover = [&covered](const std::vector<Extent>& extents) {
        for (const Extent& extent : extents)
            covered += extent.blockCount;
    };
    cover(fork.extents);
    const auto more = overflow.find(file);
    while (covered < fork.blocks) {
        if (more == overflow.end())
            failDamaged("the places of a file's blocks are missing");
        const auto next = more->second.find(static_cast<std::uint32_t>(covered));
        if (next == more->second.end() || next->second.empty())
            failDamaged("the places of a file's blocks are missing");
        fork.extents.insert(fork.extents.end(), next->second.begin(), next->second.end());
        cover(next->second);
    }
}

TreeFacts readTreeFacts(const Fork& tree, const VolumeBlocks& volume) {
    Bytes bytes(headerBytes);
    volume.read(tree, 0, bytes);
    BinaryReader reader(bytes);
    reader.skip(8);
    if (reader.readUInt8() != headerNode)
        failDamaged("a tree has no header node");
    reader.seek(24);
    TreeFacts facts;
    facts.firstLeaf = reader.readUInt32();
    reader.skip(4);
    facts.nodeSize = reader.readUInt16();
    reader.seek(51);
    facts.keyComparison = reader.readUInt8();
    if (facts.nodeSize < 512 || facts.nodeSize > 32768 || (facts.nodeSize & (facts.nodeSize - 1)) != 0)
        failDamaged("a tree has nodes of an impossible size");
    return facts;
}

void visitLeafRecords(const Fork& tree, const VolumeBlocks& volume,
                      const std::function<void(BinaryReader key, BinaryReader value)>& visit) {
    const TreeFacts facts = readTreeFacts(tree, volume);
    Bytes node(facts.nodeSize);
    for (std::uint32_t number = facts.firstLeaf; number != 0;) {
        volume.read(tree, std::uint64_t{number} * facts.nodeSize, node);
        BinaryReader descriptor(node);
        number = descriptor.readUInt32();
        descriptor.skip(4);
        const std::uint8_t kind = descriptor.readUInt8();
        descriptor.skip(1);
        const std::uint16_t count = descriptor.readUInt16();
        if (kind != leafNode || count == 0)
            failDamaged("the chain of leaves leads to something else");
        const std::vector<std::size_t> offsets = readRecordOffsets(node, count);
        for (std::size_t index = 0; index < count; ++index) {
            const ByteView record =
                ByteView(node).subspan(offsets[index], offsets[index + 1] - offsets[index]);
            BinaryReader reader(record);
            const std::size_t keyLength = reader.readUInt16();
            const ByteView key = reader.readBytes(keyLength);
            reader.skip(keyLength % 2);
            visit(BinaryReader(key), BinaryReader(record.subspan(reader.position())));
        }
    }
}

} // namespace halvo::hfsplus
