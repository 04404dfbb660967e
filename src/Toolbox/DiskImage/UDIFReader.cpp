#include <DiskImage/UDIFReader.h>

#include "ChunkCodec.h"
#include "UDIFFormat.h"

#include <DiskImage/DiskImageError.h>
#include <HFSPlus/HFSPlusError.h>
#include <HFSPlus/VolumeReader.h>

#include <algorithm>
#include <array>
#include <list>
#include <optional>

#include <libdeflate.h>
#include <zlib.h>

namespace halvo {
namespace {

using udif::Chunk;
using udif::ChunkType;
using udif::sectorSize;
using udif::Table;

/// Sixteen times what Apple's tools make; no chunk that is decompressed is larger, nor what it is stored as.
constexpr std::uint64_t maxCompressedSectors = 32768;
constexpr std::uint64_t maxPropertyListSize = 64u << 20;
/// A volume's catalog and the file being read lie in different chunks.
constexpr std::size_t cachedChunks = 8;
constexpr std::size_t pieceSize = 1u << 20;

[[noreturn]] void damaged(std::string what) {
    throw DiskImageError(DiskImageError::Damaged{std::move(what)});
}

bool isEmpty(const Chunk& chunk) { return chunk.type == ChunkType::zero || chunk.type == ChunkType::ignored; }

/// Of two pieces one after the other, from the checksum of each.
std::uint32_t combined(std::uint32_t first, std::uint32_t second, std::uint64_t secondSize) {
    return static_cast<std::uint32_t>(crc32_combine(first, second, static_cast<z_off_t>(secondSize)));
}

/// In no more steps than the size has bits: an image may claim more zeros than could ever be read.
std::uint32_t checksumOfZeros(std::uint64_t size) {
    constexpr std::uint8_t zero = 0;
    std::uint32_t sum = 0;
    std::uint32_t ofPower = libdeflate_crc32(0, &zero, 1);
    for (std::uint64_t power = 1; power <= size; power *= 2) {
        if ((size & power) != 0)
            sum = combined(sum, ofPower, power);
        ofPower = combined(ofPower, ofPower, power);
    }
    return sum;
}

/// Where a chunk's bytes lie in the file; throws when that is not inside of it.
void locate(Chunk& chunk, const udif::Trailer& trailer, const Table& table, std::uint64_t fileSize) {
    if (isEmpty(chunk)) {
        chunk.offset = chunk.storedSize = 0;
        return;
    }
    std::uint64_t start = trailer.dataForkOffset;
    for (const std::uint64_t part : {table.dataOffset, chunk.offset}) {
        if (part > fileSize || start > fileSize - part)
            damaged("a chunk lies outside of the file");
        start += part;
    }
    if (start > fileSize || chunk.storedSize > fileSize - start)
        damaged("a chunk lies outside of the file");
    chunk.offset = start;
    if (chunk.type == ChunkType::raw) {
        if (chunk.storedSize < chunk.sectorCount * sectorSize)
            damaged("a raw chunk is too short");
    } else if (chunk.sectorCount > maxCompressedSectors ||
               chunk.storedSize > 2 * maxCompressedSectors * sectorSize) {
        damaged("a chunk is too large");
    }
}

} // namespace

struct UDIFReader::Contents {
    BlockSource& file;
    std::uint64_t sectorCount = 0;
    std::vector<Table> tables{}; ///< in the order of the disk
    std::vector<Chunk> chunks{}; ///< of all tables, with their places on the disk and in the file

    struct Decoded {
        const Chunk* chunk = nullptr;
        Bytes bytes{};
    };
    std::list<Decoded> cache{}; ///< the latest first
    /// Of the plain bytes of each chunk, once they have been decoded.
    std::vector<std::optional<std::uint32_t>> checksums{};

    void readTables(const udif::Trailer& trailer);
    Bytes stored(const Chunk& chunk);
    const Bytes& decoded(const Chunk& chunk);
    void readFrom(const Chunk& chunk, std::uint64_t skipped, std::span<std::uint8_t> into);
    std::uint32_t checksum(std::size_t chunk);
};

void UDIFReader::Contents::readTables(const udif::Trailer& trailer) {
    if (trailer.propertyListSize > maxPropertyListSize || trailer.propertyListOffset > file.size() ||
        trailer.propertyListSize > file.size() - trailer.propertyListOffset)
        damaged("the property list lies outside of the file");
    Bytes list(trailer.propertyListSize);
    file.read(trailer.propertyListOffset, list);
    tables = udif::readTables(list);
    std::stable_sort(tables.begin(), tables.end(), [](const Table& left, const Table& right) {
        return left.firstSector < right.firstSector;
    });
    std::uint64_t end = 0;
    for (const Table& table : tables) {
        if (table.firstSector < end)
            damaged("two tables claim the same sectors");
        end = table.firstSector + table.sectorCount;
        for (Chunk chunk : table.chunks) {
            locate(chunk, trailer, table, file.size());
            chunk.firstSector += table.firstSector;
            chunks.push_back(chunk);
        }
    }
    sectorCount = std::max(end, trailer.sectorCount);
    checksums.resize(chunks.size());
    // Many chunks may be stored in the same few bytes.
    std::uint64_t decodedSize = 0;
    for (const Chunk& chunk : chunks)
        decodedSize += isEmpty(chunk) ? 0 : chunk.sectorCount * sectorSize;
    if (const std::uint64_t limit = hfsplus::UnfoldLimits().totalSize; decodedSize > limit)
        throw DiskImageError(DiskImageError::TooLarge{limit});
}

Bytes UDIFReader::Contents::stored(const Chunk& chunk) {
    Bytes bytes(chunk.storedSize);
    file.read(chunk.offset, bytes);
    return bytes;
}

const Bytes& UDIFReader::Contents::decoded(const Chunk& chunk) {
    const auto known =
        std::find_if(cache.begin(), cache.end(), [&](const Decoded& entry) { return entry.chunk == &chunk; });
    if (known != cache.end()) {
        cache.splice(cache.begin(), cache, known);
    } else {
        Bytes bytes = udif::decodeChunk(chunk.type, stored(chunk), chunk.sectorCount * sectorSize);
        auto& sum = checksums[static_cast<std::size_t>(&chunk - chunks.data())];
        if (!sum)
            sum = libdeflate_crc32(0, bytes.data(), bytes.size());
        cache.push_front({&chunk, std::move(bytes)});
        if (cache.size() > cachedChunks)
            cache.pop_back();
    }
    return cache.front().bytes;
}

void UDIFReader::Contents::readFrom(const Chunk& chunk, std::uint64_t skipped, std::span<std::uint8_t> into) {
    if (isEmpty(chunk)) {
        std::fill(into.begin(), into.end(), std::uint8_t{0});
    } else if (chunk.type == ChunkType::raw) {
        file.read(chunk.offset + skipped, into);
    } else {
        std::copy_n(decoded(chunk).begin() + static_cast<std::ptrdiff_t>(skipped), into.size(), into.begin());
    }
}

std::uint32_t UDIFReader::Contents::checksum(std::size_t index) {
    const Chunk& chunk = chunks[index];
    const std::uint64_t size = chunk.sectorCount * sectorSize;
    if (isEmpty(chunk))
        return checksumOfZeros(size);
    if (chunk.type != ChunkType::raw) {
        if (!checksums[index])
            decoded(chunk);
        return *checksums[index];
    }
    std::uint32_t sum = 0;
    Bytes piece(std::min<std::uint64_t>(pieceSize, size));
    for (std::uint64_t done = 0; done < size;) {
        const auto part = std::span(piece).first(std::min<std::uint64_t>(piece.size(), size - done));
        readFrom(chunk, done, part);
        sum = libdeflate_crc32(sum, part.data(), part.size());
        done += part.size();
    }
    return sum;
}

bool UDIFReader::recognizes(BlockSource& file) {
    if (file.size() < udif::trailerSize)
        return false;
    std::array<std::uint8_t, udif::trailerSize> trailer{};
    file.read(file.size() - trailer.size(), trailer);
    return udif::isTrailer(trailer);
}

UDIFReader::UDIFReader(BlockSource& file) : contents(new Contents{file}) {
    if (file.size() < udif::trailerSize)
        damaged("there is no trailer");
    std::array<std::uint8_t, udif::trailerSize> trailer{};
    file.read(file.size() - trailer.size(), trailer);
    contents->readTables(udif::readTrailer(trailer));
}

UDIFReader::~UDIFReader() = default;

std::uint64_t UDIFReader::size() const { return contents->sectorCount * sectorSize; }

void UDIFReader::read(std::uint64_t offset, std::span<std::uint8_t> into) {
    if (offset > size() || into.size() > size() - offset)
        throw hfsplus::HFSPlusError(hfsplus::HFSPlusError::ReadPastEnd{offset});
    const auto& chunks = contents->chunks;
    auto next =
        std::upper_bound(chunks.begin(), chunks.end(), offset / sectorSize,
                         [](std::uint64_t sector, const Chunk& chunk) { return sector < chunk.firstSector; });
    if (next != chunks.begin())
        --next;
    while (!into.empty()) {
        while (next != chunks.end() && (next->firstSector + next->sectorCount) * sectorSize <= offset)
            ++next;
        const std::uint64_t start = next == chunks.end() ? size() : next->firstSector * sectorSize;
        if (offset < start) { // sectors of no table
            const auto gap = into.first(std::min<std::uint64_t>(into.size(), start - offset));
            std::fill(gap.begin(), gap.end(), std::uint8_t{0});
            into = into.subspan(gap.size());
            offset += gap.size();
            continue;
        }
        const std::uint64_t left = next->sectorCount * sectorSize - (offset - start);
        const auto part = into.first(std::min<std::uint64_t>(into.size(), left));
        contents->readFrom(*next, offset - start, part);
        into = into.subspan(part.size());
        offset += part.size();
    }
}

void UDIFReader::verify(const std::stop_token& cancellation) {
    std::size_t chunk = 0;
    for (const Table& table : contents->tables) {
        const std::size_t end = chunk + table.chunks.size();
        if (table.checksum == 0) { // none was made
            chunk = end;
            continue;
        }
        std::uint32_t sum = 0;
        for (; chunk < end; ++chunk) {
            if (cancellation.stop_requested())
                throw CancelledError();
            const Chunk& part = contents->chunks[chunk];
            if (part.type != ChunkType::ignored)
                sum = combined(sum, contents->checksum(chunk), part.sectorCount * sectorSize);
        }
        if (sum != table.checksum)
            damaged("the checksum of \"" + table.name + "\" is wrong");
    }
}

} // namespace halvo
