#pragma once

#include "RecordTreeBuilder.h"

#include <array>

namespace halvo::dsstore {

/// A block that the file uses: 2^sizePower bytes at an allocator offset.
struct AllocatedBlock {
    std::uint32_t blockID = 0;
    std::uint32_t offset = 0;
    std::uint32_t sizePower = 0;
    bool operator==(const AllocatedBlock&) const = default;
};

using FreeLists = std::array<std::vector<std::uint32_t>, 32>;

/// The power of two of the smallest block that holds that many bytes. Throws Error (`writeFailed`) for 0 and
/// for what no block can hold.
std::uint32_t sizePowerFor(std::uint64_t length);

/// Cuts every gap between the blocks, and between the last one and `fileEnd`, into the largest aligned
/// pieces. Throws Error (`writeFailed`) when blocks overlap each other or the prologue.
FreeLists buildFreeLists(const std::vector<AllocatedBlock>& blocks, std::uint64_t fileEnd);

/// The allocator block, without what fills it up. Throws Error (`writeFailed`).
Bytes buildAllocatorData(const std::vector<AllocatedBlock>& blocks, const FreeLists& freeLists,
                         std::uint32_t blockCount);

/// A whole file that holds the tree. Throws Error (`writeFailed`).
Bytes layOutStore(const RecordTree& tree);

} // namespace halvo::dsstore
