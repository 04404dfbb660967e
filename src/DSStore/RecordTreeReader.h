#pragma once

#include "NameOrder.h"

#include "BuddyAllocator.h"
#include <DSStore/Record.h>

#include <unordered_set>

namespace halvo::dsstore {

/// Walks the record tree of a file in order. docs/formats/ds-store.md has the picture of header and nodes.
class RecordTreeReader {
public:
    RecordTreeReader(ByteView file, const BuddyAllocator& allocator, const DiagnosticHandler& diagnostics)
        : file(file), allocator(allocator), diagnostics(diagnostics) {}

    /// The records of the tree whose header is the block of that number, in the order of the file. Throws
    /// Error or BinaryReadError.
    std::vector<Record> read(std::uint32_t headerBlockNumber);

private:
    struct Header {
        std::uint32_t root = 0;
        std::uint32_t height = 0;
        std::uint32_t recordCount = 0;
        std::uint32_t nodeCount = 0;
    };

    Header readHeader(std::uint32_t blockNumber) const;
    BuddyAllocator::Block nodeBlock(std::uint32_t blockNumber) const;
    void traverse(std::uint32_t blockNumber, std::uint32_t depth);
    void readLeaf(BinaryReader& reader, std::uint32_t count, const BuddyAllocator::Block& block);
    void readInternal(BinaryReader& reader, std::uint32_t count, const BuddyAllocator::Block& block,
                      std::uint32_t depth);
    void acceptRecord(BinaryReader& reader, const BuddyAllocator::Block& block, const char* nodeKind);
    void checkTotals(const Header& header) const;
    void checkKeys() const;

    ByteView file;
    const BuddyAllocator& allocator;
    const DiagnosticHandler& diagnostics;

    std::vector<Record> records;
    std::unordered_set<std::uint32_t> visitedNodes;
    std::uint32_t depthLimit = 0;
    std::uint32_t internalLevels = 0; ///< one more than the depth of the deepest internal node
    std::optional<SortKey> previous;
};

} // namespace halvo::dsstore
