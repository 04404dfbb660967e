#include "BuddyAllocator.h"

#include "Fail.h"
#include "Layout.h"

#include <bit>

namespace halvo::dsstore {
namespace {

void report(const DiagnosticHandler& diagnostics, const std::string& text) {
    if (diagnostics)
        diagnostics(text);
}

std::uint64_t slotCount(std::uint32_t blockCount) {
    return (std::uint64_t(blockCount) + slotsPerPage - 1) / slotsPerPage * slotsPerPage;
}

void readBlockAddresses(BinaryReader& reader, BuddyAllocator& allocator) {
    const std::uint32_t blockCount = *allocator.blockCount;
    const std::uint64_t slots = slotCount(blockCount);
    if (reader.remaining() < 4 * slots)
        failCorrupted("Block addresses exceed remaining data");
    allocator.blockAddresses.resize(static_cast<std::size_t>(slots));
    for (std::uint32_t& address : allocator.blockAddresses)
        address = reader.readUInt32();
    for (std::size_t slot = blockCount; slot < allocator.blockAddresses.size(); ++slot)
        if (allocator.blockAddresses[slot] != 0)
            failCorrupted("Block address exceeds block count");
}

void readTableOfContents(BinaryReader& reader, BuddyAllocator& allocator,
                         const DiagnosticHandler& diagnostics) {
    constexpr std::size_t smallestEntry = 5; // length byte, no name, block number
    const std::uint32_t blockCount = *allocator.blockCount;
    const std::uint32_t count = reader.readUInt32();
    if (count == 0)
        failCorrupted("Missing table of contents");
    if (count > blockCount)
        failCorrupted("Table of contents count exceeds block count");
    if (count > reader.remaining() / smallestEntry)
        failCorrupted("Table of contents exceeds remaining data");
    for (std::uint32_t entry = 0; entry < count; ++entry) {
        const std::uint8_t length = reader.readUInt8();
        if (length == 0)
            failCorrupted("Table of contents entry has empty name");
        if (reader.remaining() < length)
            failCorrupted("Table of contents name exceeds remaining data");
        std::string name = reader.readASCIIString(length);
        if (allocator.tableOfContents.contains(name))
            failCorrupted("Duplicate table of contents entry");
        const std::uint32_t blockNumber = reader.readUInt32();
        if (blockNumber >= blockCount)
            failCorrupted("Table of contents block number exceeds block count");
        if (blockNumber == allocatorBlockID)
            failCorrupted("Table of contents block number is invalid");
        if (name != treeName)
            report(diagnostics, "Unknown table of contents entry: " + name);
        allocator.tableOfContents.emplace(std::move(name), blockNumber);
    }
}

void readFreeLists(BinaryReader& reader, BuddyAllocator& allocator) {
    for (std::size_t power = 0; power < allocator.freeLists.size(); ++power) {
        const std::uint32_t count = reader.readUInt32();
        if (reader.remaining() < 4 * std::uint64_t(count))
            failCorrupted("Free list exceeds remaining data");
        std::vector<std::uint32_t>& list = allocator.freeLists[power];
        list.resize(count);
        for (std::uint32_t& offset : list) {
            offset = reader.readUInt32();
            if ((offset & ((std::uint32_t(1) << power) - 1)) != 0)
                failCorrupted("Free list offset is misaligned");
        }
    }
}

/// Where the prologue says that the allocator block lies.
BuddyAllocator::Address readPrologue(BinaryReader& reader) {
    const std::uint64_t fileLength = reader.remaining();
    if (reader.readUInt32() != fileVersion)
        throw Error(Error::InvalidHeader{});
    if (reader.readUInt32() != fileMagic.rawValue)
        throw Error(Error::InvalidMagic{});
    const std::uint32_t offset = reader.readUInt32();
    if (offset % 4 != 0)
        failCorrupted("Allocator offset is misaligned");
    const std::uint32_t size = reader.readUInt32();
    if (size < prologueSize)
        failCorrupted("Allocator block size is too small");
    if (!std::has_single_bit(size))
        failCorrupted("Allocator block size must be a power of two");
    if (fileLength < size)
        failCorrupted("Allocator block size exceeds file length");
    if (fileLength - size < offset)
        failCorrupted("Allocator block exceeds file length");
    if (reader.readUInt32() != offset)
        throw Error(Error::OffsetMismatch{});
    reader.skip(prologueUnknownSize);
    return {.offset = offset, .size = size};
}

} // namespace

BuddyAllocator::Address BuddyAllocator::decodeAddress(std::uint32_t address) {
    return {.offset = address & ~sizePowerMask, .size = std::uint32_t(1) << (address & sizePowerMask)};
}

BuddyAllocator::Block BuddyAllocator::blockOffset(std::uint32_t blockNumber) const {
    if ((blockCount && blockNumber >= *blockCount) || blockNumber >= blockAddresses.size())
        throw Error(Error::InvalidBlockAddress{});
    const std::uint32_t encoded = blockAddresses[blockNumber];
    const Address address = decodeAddress(encoded);
    if (encoded == 0 || (encoded & sizePowerMask) < smallestSizePower || address.offset % address.size != 0)
        throw Error(Error::InvalidBlockAddress{});
    return {.position = std::uint64_t(address.offset) + originOfOffsets, .size = address.size};
}

BuddyAllocator BuddyAllocator::read(BinaryReader& reader, const DiagnosticHandler& diagnostics) {
    BuddyAllocator allocator;
    allocator.blockCount = reader.readUInt32();
    if (allocator.blockCount == 0u)
        failCorrupted("Invalid block count");
    if (reader.readUInt32() != 0)
        report(diagnostics, "Allocator header contains non-zero reserved value");
    readBlockAddresses(reader, allocator);
    readTableOfContents(reader, allocator, diagnostics);
    readFreeLists(reader, allocator);
    return allocator;
}

BuddyAllocator readAllocator(ByteView file, const DiagnosticHandler& diagnostics) {
    BinaryReader reader(file);
    const BuddyAllocator::Address prologue = readPrologue(reader);
    reader.seek(std::uint64_t(prologue.offset) + originOfOffsets);
    BuddyAllocator allocator = BuddyAllocator::read(reader, diagnostics);
    const std::uint32_t own = allocator.blockAddresses[allocatorBlockID];
    if ((own & sizePowerMask) < smallestSizePower)
        throw Error(Error::InvalidBlockAddress{});
    if (BuddyAllocator::decodeAddress(own).offset != prologue.offset)
        failCorrupted("Allocator block offset mismatch");
    if (BuddyAllocator::decodeAddress(own).size != prologue.size)
        failCorrupted("Allocator block size mismatch");
    return allocator;
}

} // namespace halvo::dsstore
