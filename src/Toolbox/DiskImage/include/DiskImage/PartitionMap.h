#pragma once

#include <Base/Date.h>
#include <Base/UUID.h>
#include <HFSPlus/BlockSource.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

/// Sectors of 512 bytes. `type` is the name that macOS shows ("Apple_HFS"), or the GUID of an unknown type.
struct Partition {
    std::string name{};
    std::string type{};
    std::uint64_t firstSector = 0;
    std::uint64_t sectorCount = 0;
    bool operator==(const Partition&) const = default;
};

/// The type of a whole disk that is neither divided nor a volume of Apple's.
constexpr std::string_view unknownPartition = "unknown partition";

/// How a disk is divided.
struct PartitionMap {
    enum class Scheme { guid, apple, masterBootRecord, none };
    Scheme scheme = Scheme::none;
    std::vector<Partition>
        partitions{}; ///< in the order of the disk; without a scheme, the whole disk is one

    /// As macOS names it among a disk's contents: "GUID_partition_scheme"; empty for `none`.
    std::string_view contentHint() const;
};

/// Finds out how a disk is divided. Entries that overlap or reach past the disk's end are refused. Throws
/// DiskImageError (`Damaged`) and what `disk` raises.
PartitionMap readPartitionMap(hfsplus::BlockSource& disk);

/// A piece of a disk under the name that UDIF images give it: "disk image (Apple_HFS : 4)".
struct DiskRegion {
    std::string name{};
    std::uint64_t firstSector = 0;
    std::uint64_t sectorCount = 0;
    bool operator==(const DiskRegion&) const = default;
};

/// The whole disk in regions, one after the other: the map's own sectors, partitions and gaps.
std::vector<DiskRegion> diskRegions(const PartitionMap& map, std::uint64_t sectorCount);

/// A disk with a GUID partition map and one partition, as macOS lays it out.
struct SingleVolumeDisk {
    std::uint64_t sectorCount = 0;
    UUID diskID{};
    UUID partitionID{};

    static constexpr std::uint64_t firstSector = 40;
    /// Sectors of everything that is not the volume.
    static constexpr std::uint64_t overhead = firstSector + 33;
    /// A multiple of 8 sectors, which is a block of the volume.
    std::uint64_t volumeSectors() const { return (sectorCount - overhead) / 8 * 8; }
};

/// Writes protective MBR and both copies of the map. Throws FileError (`path` names the file).
void writePartitionMap(int file, const std::filesystem::path& path, const SingleVolumeDisk& disk);

/// The identifiers of a disk that writePartitionMap() made or whose map is alike. Throws DiskImageError
/// (`Unsupported`) for a disk with another map or further partitions.
SingleVolumeDisk readSingleVolumeDisk(hfsplus::BlockSource& disk);

} // namespace halvo
