#pragma once

#include <Base/Bytes.h>
#include <Base/UUID.h>
#include <DiskImage/PartitionMap.h>

#include <vector>

// GUID partition table (UEFI specification, chapter 5), integers little-endian. In sectors of 512 bytes:
//   0 protective MBR | 1 header | 2..33 entries | ... | 32 sectors of entries | header
namespace halvo::gpt {

constexpr std::uint64_t headerSector = 1;
constexpr std::uint64_t entriesSector = 2;
constexpr std::uint64_t entriesSectors = 32;
/// The first that partitions may have; as many, less the MBR's, lie at the end.
constexpr std::uint64_t firstUsableSector = 34;
constexpr std::uint64_t sectorsAtEnd = 33;

struct Entry {
    UUID type{};
    UUID identifier{};
    std::uint64_t firstSector = 0;
    std::uint64_t lastSector = 0;
    std::string name{};
};

struct Table {
    UUID diskID{};
    std::vector<Entry> entries{}; ///< those in use
};

extern const UUID hfsPlusType;
/// "Apple_HFS", or the UUID of a type without a name here.
std::string typeName(const UUID& type);

/// Whether a header stands there; everything else is checked by read().
bool isHeader(ByteView sector);
/// Throws DiskImageError (Damaged) and what the disk raises.
Table read(hfsplus::BlockSource& disk);

Bytes protectiveMBR(std::uint64_t sectorCount);
Bytes entriesBlock(const Table& table);
/// The header in sector `own` of a disk whose other copy of it is in `other`.
Bytes header(const Table& table, std::uint64_t sectorCount, std::uint64_t own, std::uint64_t other);

} // namespace halvo::gpt
