#include "StoreLayout.h"

#include "Fail.h"
#include "Layout.h"

#include <Base/BinaryWriter.h>

#include <algorithm>
#include <bit>

namespace halvo::dsstore {
namespace {

/// Allocator space from `offset` on, in 64 bits so that no end wraps around.
struct Range {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::uint64_t end() const { return offset + size; }
};

constexpr std::uint64_t sizeOf(std::uint32_t power) { return std::uint64_t(1) << power; }

constexpr std::uint64_t roundedUp(std::uint64_t value, std::uint64_t multiple) {
    return (value + multiple - 1) / multiple * multiple;
}

void addFreePieces(Range gap, FreeLists& lists) {
    while (gap.size > 0) {
        std::uint32_t power = static_cast<std::uint32_t>(std::bit_width(gap.size)) - 1;
        if (gap.offset != 0)
            power = std::min(power, static_cast<std::uint32_t>(std::countr_zero(gap.offset)));
        power = std::min(power, largestSizePower);
        if (power < smallestSizePower)
            failWriting("Unable to align free blocks");
        lists[power].push_back(static_cast<std::uint32_t>(gap.offset));
        gap.offset += sizeOf(power);
        gap.size -= sizeOf(power);
    }
}

Bytes buildTreeHeader(const RecordTree& tree) {
    BinaryWriter writer;
    writer.writeUInt32(tree.root->blockID);
    writer.writeUInt32(tree.height);
    writer.writeUInt32(tree.recordCount);
    writer.writeUInt32(static_cast<std::uint32_t>(tree.nodes.size()));
    writer.writeUInt32(pageSize);
    writer.writePadding(prologueSize);
    return writer.take();
}

/// Gives every node of the tree a block, in their order, behind the block of the tree's header.
std::vector<AllocatedBlock> placeNodes(const RecordTree& tree) {
    std::vector<AllocatedBlock> blocks{{treeHeaderBlockID, prologueSize, smallestSizePower}};
    blocks.reserve(tree.nodes.size() + 2);
    std::uint64_t cursor = prologueSize + sizeOf(smallestSizePower);
    for (const BTreeNode* node : tree.nodes) {
        const std::uint32_t power = sizePowerFor(node->size);
        cursor = roundedUp(cursor, sizeOf(power));
        if (cursor > UINT32_MAX)
            failWriting("Allocation size exceeds supported range");
        blocks.push_back({node->blockID, static_cast<std::uint32_t>(cursor), power});
        cursor += sizeOf(power);
    }
    return blocks;
}

struct AllocatorBlock {
    AllocatedBlock block;
    Bytes data;
};

/// The smallest allocator block, behind the others, that has room for what it says about itself too.
AllocatorBlock placeAllocator(std::vector<AllocatedBlock> blocks) {
    const AllocatedBlock& last = blocks.back();
    const std::uint64_t cursor = last.offset + sizeOf(last.sizePower);
    const std::uint32_t blockCount = std::ranges::max(blocks, {}, &AllocatedBlock::blockID).blockID + 1;
    blocks.emplace_back();
    for (std::uint32_t power = smallestAllocatorPower; power <= largestSizePower; ++power) {
        const std::uint64_t offset = roundedUp(cursor, sizeOf(power));
        if (offset > UINT32_MAX)
            break;
        blocks.back() = {allocatorBlockID, static_cast<std::uint32_t>(offset), power};
        Bytes data = buildAllocatorData(blocks, buildFreeLists(blocks, offset + sizeOf(power)), blockCount);
        if (data.size() <= sizeOf(power))
            return {.block = blocks.back(), .data = std::move(data)};
    }
    failWriting("Allocator block exceeds supported range");
}

} // namespace

std::uint32_t sizePowerFor(std::uint64_t length) {
    if (length == 0 || length > sizeOf(largestSizePower))
        failWriting("Allocation size exceeds supported range");
    return std::max(static_cast<std::uint32_t>(std::bit_width(length - 1)), smallestSizePower);
}

FreeLists buildFreeLists(const std::vector<AllocatedBlock>& blocks, std::uint64_t fileEnd) {
    std::vector<Range> used{{.offset = 0, .size = prologueSize}};
    for (const AllocatedBlock& block : blocks)
        used.push_back({.offset = block.offset, .size = sizeOf(block.sizePower)});
    std::ranges::sort(used, {}, &Range::offset);
    FreeLists lists;
    std::uint64_t cursor = 0;
    for (const Range& range : used) {
        if (range.offset < cursor)
            failWriting("Allocated blocks overlap");
        addFreePieces({.offset = cursor, .size = range.offset - cursor}, lists);
        cursor = range.end();
    }
    if (fileEnd > cursor)
        addFreePieces({.offset = cursor, .size = fileEnd - cursor}, lists);
    return lists;
}

Bytes buildAllocatorData(const std::vector<AllocatedBlock>& blocks, const FreeLists& freeLists,
                         std::uint32_t blockCount) {
    std::vector<std::uint32_t> slots(static_cast<std::size_t>(roundedUp(blockCount, slotsPerPage)), 0);
    for (const AllocatedBlock& block : blocks) {
        if (block.blockID >= slots.size())
            failWriting("Block count exceeds allocator limit");
        slots[block.blockID] = block.offset | block.sizePower;
    }
    BinaryWriter writer;
    writer.writeUInt32(blockCount);
    writer.writeUInt32(0);
    for (const std::uint32_t slot : slots)
        writer.writeUInt32(slot);
    writer.writeUInt32(1); // entries of the table of contents
    writer.writeUInt8(4);  // length of the name
    writer.writeASCIIString(treeName);
    writer.writeUInt32(treeHeaderBlockID);
    for (const std::vector<std::uint32_t>& list : freeLists) {
        writer.writeUInt32(static_cast<std::uint32_t>(list.size()));
        for (const std::uint32_t offset : list)
            writer.writeUInt32(offset);
    }
    return writer.take();
}

Bytes layOutStore(const RecordTree& tree) {
    const std::vector<AllocatedBlock> blocks = placeNodes(tree);
    const AllocatorBlock allocator = placeAllocator(blocks);
    const std::uint32_t allocatorSize = std::uint32_t(1) << allocator.block.sizePower;

    BinaryWriter file;
    file.reserve(static_cast<std::size_t>(originOfOffsets) + allocator.block.offset + allocatorSize);
    file.writeUInt32(fileVersion);
    file.writeUInt32(fileMagic.rawValue);
    file.writeUInt32(allocator.block.offset);
    file.writeUInt32(allocatorSize);
    file.writeUInt32(allocator.block.offset);
    file.writeZeros(prologueUnknownSize);
    const auto place = [&](const AllocatedBlock& block, ByteView data) {
        file.writePadding(static_cast<std::size_t>(originOfOffsets) + block.offset);
        file.writeBytes(data);
    };
    place(blocks.front(), buildTreeHeader(tree));
    for (std::size_t index = 0; index < tree.nodes.size(); ++index)
        place(blocks[index + 1], buildNodeData(*tree.nodes[index]));
    place(allocator.block, allocator.data);
    file.writePadding(static_cast<std::size_t>(originOfOffsets) + allocator.block.offset + allocatorSize);
    return file.take();
}

} // namespace halvo::dsstore
