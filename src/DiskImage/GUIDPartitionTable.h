#pragma once

#include <Base/Bytes.h>
#include <Base/UUID.h>

#include <cstdint>

namespace halvo {

/// A disk with a GUID partition table (UEFI specification, chapter 5) and one HFS+ partition, as macOS lays
/// it out. In sectors of 512 bytes:
///   0 protective MBR | 1 header | 2..33 entries | 6 free | the volume | 32 sectors of entries | header
struct PartitionedDisk {
    std::uint64_t volumeSectors = 0;
    UUID diskID{};
    UUID partitionID{};

    static constexpr std::uint64_t firstSector = 40; ///< of the volume
    static constexpr std::uint64_t sectorsAtEnd = 33;
    static constexpr const char* partitionName = "disk image";
    std::uint64_t sectorCount() const { return firstSector + volumeSectors + sectorsAtEnd; }

    Bytes protectiveMBR() const;
    Bytes entries() const;
    Bytes header() const;
    Bytes headerAtEnd() const;

private:
    Bytes header(std::uint64_t own, std::uint64_t other, std::uint64_t entriesSector) const;
};

} // namespace halvo
