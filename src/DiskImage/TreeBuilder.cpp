#include "TreeBuilder.h"

#include "HFSPlusFormat.h"

#include <Base/BinaryWriter.h>
#include <DiskImage/DiskImageError.h>

#include <algorithm>

namespace halvo::hfsplus {
namespace {

constexpr std::size_t headerRecordSize = 106;
constexpr std::size_t userRecordSize = 128;
constexpr std::size_t mapRecordOffset = nodeDescriptorSize + headerRecordSize + userRecordSize;

void put(Bytes& file, std::size_t offset, const BinaryWriter& bytes) {
    std::copy(bytes.bytes().begin(), bytes.bytes().end(), file.begin() + static_cast<std::ptrdiff_t>(offset));
}

} // namespace

void TreeBuilder::add(ByteView key, ByteView record) {
    if (file.empty())
        file.resize(kind.nodeSize); // of the header, filled in at the end
    append(leaves, key, record, leafNode, 1);
    ++leafRecords;
}

void TreeBuilder::append(Level& level, ByteView key, ByteView record, std::uint8_t nodeKind,
                         std::uint8_t height) {
    const std::size_t needed = key.size() + record.size() + sizeof(std::uint16_t);
    const std::size_t taken = used + (offsets.size() + 1) * sizeof(std::uint16_t);
    if (offsets.empty() || taken + needed > kind.nodeSize) {
        if (!offsets.empty())
            finishNode(false);
        startNode(level, nodeKind, height);
    }
    if (offsets.empty())
        level.firstKeys.emplace_back(key.begin(), key.end());
    offsets.push_back(static_cast<std::uint16_t>(used));
    const std::size_t node = file.size() - kind.nodeSize;
    std::copy(key.begin(), key.end(), file.begin() + static_cast<std::ptrdiff_t>(node + used));
    used += key.size();
    std::copy(record.begin(), record.end(), file.begin() + static_cast<std::ptrdiff_t>(node + used));
    used += record.size();
}

void TreeBuilder::startNode(Level& level, std::uint8_t nodeKind, std::uint8_t height) {
    file.resize(file.size() + kind.nodeSize);
    used = nodeDescriptorSize;
    if (level.firstKeys.empty())
        level.firstNode = currentNode();
    const std::uint32_t previous = level.firstKeys.empty() ? 0 : currentNode() - 1;
    BinaryWriter descriptor;
    descriptor.writeUInt32(0); // next
    descriptor.writeUInt32(previous);
    descriptor.writeUInt8(nodeKind);
    descriptor.writeUInt8(height);
    put(file, file.size() - kind.nodeSize, descriptor);
}

void TreeBuilder::finishNode(bool isLast) {
    const std::size_t node = file.size() - kind.nodeSize;
    BinaryWriter next;
    next.writeUInt32(isLast ? 0 : currentNode() + 1);
    put(file, node, next);
    BinaryWriter count;
    count.writeUInt16(static_cast<std::uint16_t>(offsets.size()));
    put(file, node + 10, count);
    offsets.push_back(static_cast<std::uint16_t>(used)); // where free space begins
    BinaryWriter table;
    for (auto offset = offsets.rbegin(); offset != offsets.rend(); ++offset)
        table.writeUInt16(*offset);
    put(file, file.size() - table.size(), table);
    offsets.clear();
}

TreeBuilder::Level TreeBuilder::buildIndex(const Level& below, std::uint8_t height) {
    Level level;
    std::uint32_t child = below.firstNode;
    for (const Bytes& key : below.firstKeys) {
        BinaryWriter pointer;
        pointer.writeUInt32(child++);
        append(level, key, pointer.bytes(), indexNode, height);
    }
    finishNode(true);
    return level;
}

Bytes TreeBuilder::finish() {
    if (leafRecords == 0) {
        file.resize(kind.nodeSize);
        writeHeader({}, 0);
        return std::move(file);
    }
    finishNode(true);
    Level top = leaves;
    std::uint8_t depth = 1;
    while (top.firstKeys.size() > 1)
        top = buildIndex(top, ++depth);
    writeHeader(top, depth);
    return std::move(file);
}

void TreeBuilder::writeHeader(const Level& root, std::uint16_t depth) {
    const std::size_t nodes = file.size() / kind.nodeSize;
    const std::size_t mapSize = kind.nodeSize - mapRecordOffset - 4 * sizeof(std::uint16_t);
    if (nodes > mapSize * 8)
        throw DiskImageError(DiskImageError::TooLarge{"it has more files than its catalog can list"});
    BinaryWriter header;
    header.writeZeros(8); // no map nodes, no previous
    header.writeUInt8(headerNode);
    header.writeUInt8(0);
    header.writeUInt16(3);
    header.writeUInt16(0);
    header.writeUInt16(depth);
    header.writeUInt32(root.firstNode);
    header.writeUInt32(leafRecords);
    header.writeUInt32(leaves.firstNode);
    header.writeUInt32(
        leafRecords == 0 ? 0 : leaves.firstNode + static_cast<std::uint32_t>(leaves.firstKeys.size()) - 1);
    header.writeUInt16(static_cast<std::uint16_t>(kind.nodeSize));
    header.writeUInt16(kind.longestKey);
    header.writeUInt32(static_cast<std::uint32_t>(nodes));
    header.writeUInt32(0); // free nodes
    header.writeUInt16(0);
    header.writeUInt32(static_cast<std::uint32_t>(file.size())); // clump
    header.writeUInt8(0);
    header.writeUInt8(kind.keyComparison);
    header.writeUInt32(kind.attributes);
    header.writePadding(mapRecordOffset);
    for (std::size_t index = 0; index < nodes / 8; ++index)
        header.writeUInt8(0xFF);
    header.writeUInt8(static_cast<std::uint8_t>(0xFF00u >> (nodes % 8)));
    put(file, 0, header);
    BinaryWriter table;
    table.writeUInt16(static_cast<std::uint16_t>(mapRecordOffset + mapSize));
    table.writeUInt16(mapRecordOffset);
    table.writeUInt16(nodeDescriptorSize + headerRecordSize);
    table.writeUInt16(nodeDescriptorSize);
    put(file, kind.nodeSize - table.size(), table);
}

} // namespace halvo::hfsplus
