#include "RecordTreeReader.h"

#include "Fail.h"
#include "Layout.h"
#include "RecordCoding.h"

#include <algorithm>

namespace halvo::dsstore {

std::vector<Record> RecordTreeReader::read(std::uint32_t headerBlockNumber) {
    const Header header = readHeader(headerBlockNumber);
    depthLimit = std::min(header.nodeCount, deepestTree);
    traverse(header.root, 0);
    checkTotals(header);
    checkKeys();
    return std::move(records);
}

RecordTreeReader::Header RecordTreeReader::readHeader(std::uint32_t blockNumber) const {
    const BuddyAllocator::Block block = allocator.blockOffset(blockNumber);
    if (file.size() < block.end())
        failCorrupted("B-tree block exceeds file length");
    BinaryReader reader = BinaryReader(file).block(block.position, block.size);
    Header header;
    header.root = reader.readUInt32();
    if (header.root == 0)
        throw Error(Error::InvalidBTreeHeader{});
    header.height = reader.readUInt32();
    header.recordCount = reader.readUInt32();
    header.nodeCount = reader.readUInt32();
    if (header.nodeCount == 0)
        failCorrupted("Invalid B-tree node count");
    if (header.nodeCount < header.height)
        failCorrupted("B-tree height exceeds node count");
    if (reader.readUInt32() != pageSize)
        throw Error(Error::InvalidBTreeHeader{});
    return header;
}

BuddyAllocator::Block RecordTreeReader::nodeBlock(std::uint32_t blockNumber) const {
    const BuddyAllocator::Block block = allocator.blockOffset(blockNumber);
    if (file.size() < block.end())
        failCorrupted("Node exceeds file length");
    if (block.size > pageSize)
        throw Error(Error::InvalidBTreeHeader{});
    return block;
}

void RecordTreeReader::traverse(std::uint32_t blockNumber, std::uint32_t depth) {
    if (depth > depthLimit)
        failCorrupted("B-tree depth exceeds supported limit");
    if (!visitedNodes.insert(blockNumber).second)
        failCorrupted("B-tree contains duplicate node reference");
    const BuddyAllocator::Block block = nodeBlock(blockNumber);
    BinaryReader reader(file); // over the whole file: a record is read first and then held against its block
    reader.seek(block.position);
    const std::uint32_t rightmostChild = reader.readUInt32();
    const std::uint32_t count = reader.readUInt32();
    if (rightmostChild == 0) {
        readLeaf(reader, count, block);
    } else {
        readInternal(reader, count, block, depth);
        traverse(rightmostChild, depth + 1);
    }
}

void RecordTreeReader::readLeaf(BinaryReader& reader, std::uint32_t count,
                                const BuddyAllocator::Block& block) {
    if (count > (block.end() - reader.position()) / smallestRecordSize)
        failCorrupted("Leaf node record count exceeds block size");
    for (std::uint32_t index = 0; index < count; ++index)
        acceptRecord(reader, block, "Leaf");
}

void RecordTreeReader::readInternal(BinaryReader& reader, std::uint32_t count,
                                    const BuddyAllocator::Block& block, std::uint32_t depth) {
    internalLevels = std::max(internalLevels, depth + 1);
    if (count == 0)
        failCorrupted("Internal node has no records");
    if (count > (block.end() - reader.position()) / (smallestRecordSize + childPointerSize))
        failCorrupted("Internal node record count exceeds block size");
    for (std::uint32_t index = 0; index < count; ++index) {
        const std::uint32_t child = reader.readUInt32();
        if (child == 0)
            failCorrupted("Internal node contains zero child pointer");
        traverse(child, depth + 1);
        acceptRecord(reader, block, "Internal");
    }
}

void RecordTreeReader::acceptRecord(BinaryReader& reader, const BuddyAllocator::Block& block,
                                    const char* nodeKind) {
    Record record = readRecord(reader);
    if (reader.position() > block.end())
        failCorrupted(std::string(nodeKind) + " node record exceeds block size");
    recognisePropertyList(record.value);
    SortKey key(record);
    if (previous && key < *previous && diagnostics)
        diagnostics(std::string(nodeKind) + " node record order is invalid for " + record.filename);
    previous = std::move(key);
    records.push_back(std::move(record));
    // Nodes that overlap can hold far more records than the file has bytes. Two records then start at one
    // place, so they are equal, and there is no use in collecting the rest.
    if (records.size() > file.size())
        failCorrupted("Duplicate record key");
}

void RecordTreeReader::checkTotals(const Header& header) const {
    if (visitedNodes.size() != header.nodeCount)
        failCorrupted("B-tree node count mismatch");
    if (records.size() != header.recordCount)
        failCorrupted("B-tree record count mismatch");
    if (internalLevels != header.height)
        failCorrupted("B-tree height mismatch");
}

void RecordTreeReader::checkKeys() const {
    std::vector<std::pair<std::string_view, FourCC>> keys;
    keys.reserve(records.size());
    for (const Record& record : records)
        keys.emplace_back(record.filename, record.type.code());
    std::ranges::sort(keys);
    if (std::ranges::adjacent_find(keys) != keys.end())
        failCorrupted("Duplicate record key");
}

} // namespace halvo::dsstore
