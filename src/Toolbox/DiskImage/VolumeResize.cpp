#include "VolumeResize.h"

#include "NewFile.h"

#include <Base/BinaryReader.h>
#include <Base/BinaryWriter.h>
#include <DiskImage/DiskImageError.h>
#include <HFSPlus/BlockSource.h>

#include <algorithm>
#include <bit>
#include <utility>

// The volume header of HFS Plus (Apple TN1150), integers big-endian; the allocation bitmap says which blocks
// are taken. The last block holds a second copy of the header.
namespace halvo {
namespace {

constexpr std::uint64_t headerOffset = 1024;
constexpr std::size_t headerSize = 512;
constexpr std::uint64_t smallestVolume = 512u << 10; ///< that Apple's formatter makes
constexpr std::uint32_t unmountedCleanly = 1u << 8;
constexpr std::uint32_t journaled = 1u << 13;
constexpr std::size_t extentCount = 8;
constexpr std::size_t extentSize = 8;

enum Field : std::size_t {
    attributesField = 4,
    blockSizeField = 40,
    blockCountField = 44,
    freeBlocksField = 48,
    nextAllocationField = 52,
    bitmapSizeField = 112,
    bitmapBlocksField = 124,
    bitmapExtentsField = 128,
};

std::uint32_t valueAt(ByteView header, std::size_t field) {
    BinaryReader reader(header);
    reader.seek(field);
    return reader.readUInt32();
}

void put(Bytes& header, std::size_t field, std::uint64_t value, std::size_t width = sizeof(std::uint32_t)) {
    for (std::size_t index = 0; index < width; ++index)
        header[field + index] = static_cast<std::uint8_t>(value >> (8 * (width - 1 - index)));
}

[[noreturn]] void damaged() {
    throw DiskImageError(DiskImageError::Damaged{"the header of its volume contradicts the image"});
}

bool isTaken(const Bytes& bitmap, std::uint64_t block) {
    return (bitmap[block / 8] & (0x80 >> (block % 8))) != 0;
}

void mark(Bytes& bitmap, std::uint64_t block, bool taken) {
    const auto bit = static_cast<std::uint8_t>(0x80 >> (block % 8));
    bitmap[block / 8] = static_cast<std::uint8_t>(taken ? bitmap[block / 8] | bit : bitmap[block / 8] & ~bit);
}

/// One behind the last block that is taken among the first `count`.
std::uint64_t endOfTaken(const Bytes& bitmap, std::uint64_t count) {
    while (count > 0 && !isTaken(bitmap, count - 1))
        --count;
    return count;
}

} // namespace

VolumeResize::VolumeResize(int opened, std::filesystem::path image, std::uint64_t at, std::uint64_t length)
    : file(opened), path(std::move(image)), offset(at), size(length), header(headerSize) {
    hfsplus::FileSource source(file, offset, size);
    source.read(headerOffset, header);
    blockSize = valueAt(header, blockSizeField);
    blockCount = valueAt(header, blockCountField);
    const std::uint32_t attributes = valueAt(header, attributesField);
    if (!viewText(header).starts_with("H+") || (attributes & unmountedCleanly) == 0 ||
        (attributes & journaled) != 0 || blockSize < headerOffset)
        throw DiskImageError(DiskImageError::Unsupported{"its volume is none that can be resized here"});
    if (!std::has_single_bit(blockSize) || blockCount < 2 || blockCount > size / blockSize)
        damaged();
    readBitmap();
}

void VolumeResize::readBitmap() {
    hfsplus::FileSource source(file, offset, size);
    for (std::size_t index = 0; index < extentCount; ++index) {
        const std::uint64_t first = valueAt(header, bitmapExtentsField + index * extentSize);
        const std::uint64_t count = valueAt(header, bitmapExtentsField + index * extentSize + 4);
        if (first > blockCount || count > blockCount - first)
            damaged();
        Bytes piece(count * blockSize);
        source.read(first * blockSize, piece);
        bitmap.insert(bitmap.end(), piece.begin(), piece.end());
        if (bitmap.size() > blockCount + blockSize * extentCount)
            damaged(); // much larger than a bit for each block takes
    }
    if (bitmap.size() * 8 < blockCount || !isTaken(bitmap, blockCount - 1))
        damaged();
}

std::uint64_t VolumeResize::minimumSize() const {
    return std::max((endOfTaken(bitmap, blockCount - 1) + 1) * blockSize, smallestVolume);
}

void VolumeResize::growBitmap(std::uint64_t newCount) {
    const std::uint64_t blocks = (newCount + blockSize * 8 - 1) / (blockSize * 8);
    const std::uint64_t present = bitmap.size() / blockSize;
    if (blocks <= present)
        return;
    std::size_t extent = 0;
    while (extent < extentCount && valueAt(header, bitmapExtentsField + extent * extentSize + 4) != 0)
        ++extent;
    if (extent == extentCount)
        throw DiskImageError(DiskImageError::Unsupported{"its volume has grown too often"});
    // The old end is free from here on, and so is all that follows.
    const std::uint64_t first = endOfTaken(bitmap, blockCount - 1);
    bitmap.resize(blocks * blockSize);
    for (std::uint64_t block = first; block < first + blocks - present; ++block)
        mark(bitmap, block, true);
    put(header, bitmapExtentsField + extent * extentSize, first);
    put(header, bitmapExtentsField + extent * extentSize + 4, blocks - present);
    put(header, bitmapSizeField, bitmap.size(), sizeof(std::uint64_t));
    put(header, bitmapBlocksField, blocks);
}

void VolumeResize::writeBitmap() const {
    ByteView rest = bitmap;
    for (std::size_t index = 0; index < extentCount && !rest.empty(); ++index) {
        const std::uint64_t first = valueAt(header, bitmapExtentsField + index * extentSize);
        const std::uint64_t count = valueAt(header, bitmapExtentsField + index * extentSize + 4);
        const ByteView piece = rest.first(count * blockSize);
        writeAt(file, path, offset + first * blockSize, piece);
        rest = rest.subspan(piece.size());
    }
}

void VolumeResize::resize(std::uint64_t newSize) {
    const std::uint64_t newCount = newSize / blockSize;
    if (newCount > UINT32_MAX)
        throw DiskImageError(DiskImageError::Unsupported{"the size is beyond what its volume can have"});
    mark(bitmap, blockCount - 1, false);
    growBitmap(newCount);
    mark(bitmap, newCount - 1, true);
    std::uint64_t taken = 0;
    for (const std::uint8_t byte : bitmap)
        taken += static_cast<std::uint64_t>(std::popcount(byte));
    put(header, blockCountField, newCount);
    put(header, freeBlocksField, newCount - taken);
    put(header, nextAllocationField, endOfTaken(bitmap, newCount - 1));
    writeBitmap();
    writeAt(file, path, offset + newSize - headerOffset, header);
    writeAt(file, path, offset + headerOffset, header);
    // An old copy of the header inside the volume would be taken for one.
    if (newSize > size)
        writeAt(file, path, offset + size - headerOffset, Bytes(headerSize));
    size = newSize;
    blockCount = newCount;
}

} // namespace halvo
