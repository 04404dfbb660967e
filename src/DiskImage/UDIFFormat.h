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
/// Of every chunk but the last of a region.
constexpr std::uint64_t chunkSectors = 2048;

enum class ChunkType : std::uint32_t {
    zero = 0,
    raw = 1,
    lzma = 0x80000008, ///< in truth a whole .xz stream; read since macOS 10.15
    terminator = 0xFFFFFFFF,
};

struct Chunk {
    ChunkType type = ChunkType::zero;
    std::uint64_t firstSector = 0; ///< of the table
    std::uint64_t sectorCount = 0;
    std::uint64_t offset = 0; ///< of the stored bytes in the data fork
    std::uint64_t storedSize = 0;
};

/// A region's table.
struct Table {
    std::string name{};
    std::uint64_t firstSector = 0;
    std::uint64_t sectorCount = 0;
    std::uint32_t buffersNeeded = 0; ///< sectors that decompressing takes
    std::uint32_t descriptor = 0;
    std::uint32_t checksum = 0;  ///< CRC-32 of the plain bytes
    std::vector<Chunk> chunks{}; ///< without the terminator
};

/// The data fork begins the file, and the property list follows it.
struct Trailer {
    std::uint64_t dataForkSize = 0;
    std::uint64_t propertyListSize = 0;
    std::uint64_t sectorCount = 0;
    std::uint32_t dataForkChecksum = 0;
    std::uint32_t masterChecksum = 0;
    std::array<std::uint8_t, 16> segmentID{};
};

Bytes writeTrailer(const Trailer& trailer);
/// The property list as Apple's tools write it, for a disk with a partition map.
Bytes writePropertyList(const std::vector<Table>& tables);

} // namespace halvo::udif
