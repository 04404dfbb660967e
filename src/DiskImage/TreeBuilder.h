#pragma once

#include <Base/Bytes.h>

#include <cstdint>
#include <vector>

namespace halvo::hfsplus {

/// What a tree's header node says beside what follows from its content.
struct TreeKind {
    std::size_t nodeSize = 4096;
    std::uint16_t longestKey = 0;
    std::uint8_t keyComparison = 0; ///< 0xCF: names without case
    std::uint32_t attributes = 0;
};

/// Lays records out as a B-tree, in one pass from the lowest key to the highest: full leaves from left to
/// right, then the levels of index nodes above them.
class TreeBuilder {
public:
    explicit TreeBuilder(const TreeKind& kind) : kind(kind) {}

    /// `key` begins with its length; keys must come in their order, and no record may be larger than a node.
    void add(ByteView key, ByteView record);
    /// The file of the tree, a whole number of nodes. Throws DiskImageError (`TooLarge`) when the header node
    /// cannot list them all.
    Bytes finish();

private:
    /// A run of neighbours on one level, and the key that each begins with.
    struct Level {
        std::uint32_t firstNode = 0;
        std::vector<Bytes> firstKeys{};
    };

    void startNode(Level& level, std::uint8_t nodeKind, std::uint8_t height);
    void finishNode(bool isLast);
    void append(Level& level, ByteView key, ByteView record, std::uint8_t nodeKind, std::uint8_t height);
    Level buildIndex(const Level& below, std::uint8_t height);
    void writeHeader(const Level& root, std::uint16_t depth);
    std::uint32_t currentNode() const { return static_cast<std::uint32_t>(file.size() / kind.nodeSize) - 1; }

    TreeKind kind;
    Bytes file;                           ///< the nodes, the last of them in the making
    std::size_t used = 0;                 ///< bytes of that one's descriptor and records
    std::vector<std::uint16_t> offsets{}; ///< of its records
    Level leaves{};
    std::uint32_t leafRecords = 0;
};

} // namespace halvo::hfsplus
