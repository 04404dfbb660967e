#pragma once

#include <Base/Bytes.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

// UDIF, integers big-endian:
//   <file>    ::= <chunk data> <property list> [<code signature>] <trailer>
//   <trailer> ::= "koly", 512 bytes, the last of the file
// The property list holds one table ("mish") of chunks for each region of the disk.
namespace halvo::udif {

constexpr std::uint64_t sectorSize = 512;
constexpr std::size_t trailerSize = 512;
/// The largest chunk that writers make.
constexpr std::uint64_t chunkSectors = 2048;

enum class ChunkType : std::uint32_t {
    zero = 0,
    raw = 1,
    ignored = 2, ///< unused space: reads as zeros, and no checksum counts it
    adc = 0x80000004,
    zlib = 0x80000005,
    bzip2 = 0x80000006,
    lzfse = 0x80000007,
    lzma = 0x80000008, ///< in truth a whole .xz stream
    comment = 0x7FFFFFFE,
    terminator = 0xFFFFFFFF,
};

struct Chunk {
    ChunkType type = ChunkType::zero;
    std::uint64_t firstSector = 0; ///< of the whole disk in memory, of the table in the file
    std::uint64_t sectorCount = 0;
    std::uint64_t offset = 0; ///< of the stored bytes, in the file in memory, in the data fork in the file
    std::uint64_t storedSize = 0;
    bool operator==(const Chunk&) const = default;
};

/// A region's table. Its sectors and offsets are as they stand in the file.
struct Table {
    std::string name{};
    std::uint64_t firstSector = 0;
    std::uint64_t sectorCount = 0;
    std::uint64_t dataOffset = 0;
    std::uint32_t buffersNeeded = 0; ///< sectors that decompressing takes
    std::uint32_t descriptor = 0;
    std::uint32_t checksum = 0;  ///< CRC-32 of the plain bytes
    std::vector<Chunk> chunks{}; ///< without the terminator
};

struct Trailer {
    std::uint64_t dataForkOffset = 0;
    std::uint64_t dataForkSize = 0;
    std::uint64_t propertyListOffset = 0;
    std::uint64_t propertyListSize = 0;
    std::uint64_t sectorCount = 0;
    std::uint32_t dataForkChecksum = 0;
    std::uint32_t masterChecksum = 0;
    bool hasPartitionMap = true;
    std::array<std::uint8_t, 16> segmentID{};
};

/// Whether the bytes begin with the trailer's magic.
bool isTrailer(ByteView bytes);
/// Throws DiskImageError (Damaged).
Trailer readTrailer(ByteView bytes);
Bytes writeTrailer(const Trailer& trailer);

/// Throws DiskImageError (Damaged), also for a table whose chunks do not cover its sectors one after the
/// other.
Table readTable(ByteView bytes);
Bytes writeTable(const Table& table);

/// The tables of a property list. Throws DiskImageError (Damaged) and PropertyListError.
std::vector<Table> readTables(ByteView propertyList);
/// The property list as Apple's tools write it. The first table has the number -1 when there is a partition
/// map.
Bytes writePropertyList(const std::vector<Table>& tables, bool hasPartitionMap);

} // namespace halvo::udif
