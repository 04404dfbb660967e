#pragma once

#include <Base/BinaryReader.h>
#include <HFSPlus/BlockSource.h>

#include <functional>
#include <map>
#include <vector>

namespace halvo::hfsplus {

/// Blocks that follow each other.
struct Extent {
    std::uint32_t firstBlock = 0;
    std::uint32_t blockCount = 0;
};

/// A stream of bytes in the volume.
struct Fork {
    std::uint64_t size = 0; ///< bytes
    std::uint32_t blocks = 0;
    std::vector<Extent> extents{};
};

/// The blocks of a volume.
struct VolumeBlocks {
    BlockSource& source;
    std::uint64_t offset = 0; ///< of the volume in the source
    std::uint32_t blockSize = 0;
    std::uint32_t totalBlocks = 0;

    /// Fills `into` with what lies at `position` of a whole fork. Throws HFSPlusError (`Damaged`) past its
    /// end.
    void read(const Fork& fork, std::uint64_t position, std::span<std::uint8_t> into) const;
};

/// A fork as a header or a catalog record describes it: 80 bytes. Throws HFSPlusError (`Damaged`) for blocks
/// that the volume does not have.
Fork readFork(BinaryReader& reader, const VolumeBlocks& volume);
std::vector<Extent> readExtents(BinaryReader& reader, const VolumeBlocks& volume);

/// Extents of data forks beyond the eighth: by file, then by the block of the fork that they begin with.
using OverflowExtents = std::map<std::uint32_t, std::map<std::uint32_t, std::vector<Extent>>>;

/// Adds what the fork's own record had no room for. Throws HFSPlusError (`Damaged`) when there are too few
/// blocks for its size.
void completeFork(Fork& fork, std::uint32_t file, const OverflowExtents& overflow);

/// What a tree's header node says.
struct TreeFacts {
    std::uint32_t firstLeaf = 0;
    std::uint16_t nodeSize = 0;
    std::uint8_t keyComparison = 0;
};
TreeFacts readTreeFacts(const Fork& tree, const VolumeBlocks& volume);

/// Calls `visit` with each leaf record, from key to value, along the chain of leaves. The visitor must throw
/// for keys that do not rise: that is what ends a chain that leads back into itself.
void visitLeafRecords(const Fork& tree, const VolumeBlocks& volume,
                      const std::function<void(BinaryReader key, BinaryReader value)>& visit);

[[noreturn]] void failDamaged(std::string reason);

} // namespace halvo::hfsplus
