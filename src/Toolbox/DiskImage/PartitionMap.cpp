#include <DiskImage/PartitionMap.h>

#include "GUIDPartitionTable.h"
#include "LittleEndian.h"
#include "NewFile.h"

#include <Base/BinaryReader.h>
#include <DiskImage/DiskImageError.h>

#include <algorithm>
#include <optional>

namespace halvo {
namespace {

using hfsplus::BlockSource;
using Scheme = PartitionMap::Scheme;

constexpr std::uint64_t sectorSize = 512;
/// More than any disk image has.
constexpr std::uint32_t maxApplePartitions = 256;
constexpr std::string_view partitionName = "disk image";

[[noreturn]] void damaged() {
    throw DiskImageError(DiskImageError::Damaged{"its partition map contradicts itself"});
}

std::vector<Partition> readGUIDPartitions(BlockSource& disk) {
    std::vector<Partition> partitions;
    for (const gpt::Entry& entry : gpt::read(disk).entries) {
        if (entry.lastSector >= disk.size() / sectorSize)
            damaged();
        partitions.push_back({entry.name, gpt::typeName(entry.type), entry.firstSector,
                              entry.lastSector - entry.firstSector + 1});
    }
    return partitions;
}

std::string paddedText(ByteView bytes) {
    const std::string_view text = viewText(bytes);
    return std::string(text.substr(0, text.find('\0')));
}

/// An entry of the Apple partition map: "PM", integers big-endian.
std::vector<Partition> readApplePartitions(BlockSource& disk) {
    std::vector<Partition> partitions;
    std::uint32_t count = 1;
    for (std::uint64_t sector = 1; sector <= count; ++sector) {
        Bytes bytes(sectorSize);
        disk.read(sector * sectorSize, bytes);
        BinaryReader reader(bytes);
        if (viewText(reader.readBytes(2)) != "PM")
            damaged();
        reader.skip(2);
        count = reader.readUInt32();
        if (count > maxApplePartitions)
            damaged();
        Partition partition;
        partition.firstSector = reader.readUInt32();
        partition.sectorCount = reader.readUInt32();
        partition.name = paddedText(reader.readBytes(32));
        partition.type = paddedText(reader.readBytes(32));
        if (partition.sectorCount > 0)
            partitions.push_back(std::move(partition));
    }
    return partitions;
}

std::string masterBootRecordType(std::uint8_t type) {
    switch (type) {
    case 0xAF: return "Apple_HFS";
    case 0x04:
    case 0x06:
    case 0x0E: return "DOS_FAT_16";
    case 0x0B:
    case 0x0C: return "DOS_FAT_32";
    case 0x07: return "Windows_NTFS";
    default: return "0x" + toHex(ByteView(&type, 1));
    }
}

/// Absent when the sector is something else that ends alike, such as the first one of a FAT volume.
std::optional<std::vector<Partition>> readMasterBootRecord(ByteView sector, std::uint64_t sectorCount) {
    std::vector<Partition> partitions;
    for (std::size_t offset = 446; offset < 510; offset += 16) {
        const std::uint8_t state = sector[offset];
        const std::uint8_t type = sector[offset + 4];
        const auto first = littleEndianAt<std::uint32_t>(sector, offset + 8);
        const auto count = littleEndianAt<std::uint32_t>(sector, offset + 12);
        if (type == 0)
            continue;
        if ((state != 0 && state != 0x80) || first == 0 || count == 0 ||
            std::uint64_t{first} + count > sectorCount)
            return std::nullopt;
        partitions.push_back({"", masterBootRecordType(type), first, count});
    }
    if (partitions.empty())
        return std::nullopt;
    return partitions;
}

Partition wholeDisk(BlockSource& disk) {
    constexpr std::uint64_t volumeHeader = 1024;
    Partition whole{"whole disk", std::string(unknownPartition), 0, disk.size() / sectorSize};
    Bytes magic(36);
    if (disk.size() >= volumeHeader + magic.size()) {
        disk.read(volumeHeader, magic);
        const std::string_view text = viewText(magic);
        if (text.starts_with("H+") || text.starts_with("HX") || text.starts_with("BD"))
            whole.type = "Apple_HFS";
        disk.read(0, magic);
        if (text.substr(32, 4) == "NXSB")
            whole.type = "Apple_APFS";
    }
    return whole;
}

void requireSeparate(std::vector<Partition>& partitions, std::uint64_t sectorCount) {
    std::sort(partitions.begin(), partitions.end(), [](const Partition& left, const Partition& right) {
        return left.firstSector < right.firstSector;
    });
    std::uint64_t end = 1;
    for (const Partition& partition : partitions) {
        if (partition.firstSector < end || partition.firstSector > sectorCount ||
            partition.sectorCount > sectorCount - partition.firstSector)
            damaged();
        end = partition.firstSector + partition.sectorCount;
    }
}

/// Names regions and numbers them.
class RegionList {
public:
    void add(const std::string& name, const std::string& type, std::uint64_t end) {
        if (end <= position)
            return;
        regions.push_back(
            {name + " (" + type + " : " + std::to_string(regions.size()) + ")", position, end - position});
        position = end;
    }
    void addPartitions(const std::vector<Partition>& partitions, std::uint64_t end) {
        for (const Partition& partition : partitions) {
            addGap(partition.firstSector);
            add(partition.name, partition.type, partition.firstSector + partition.sectorCount);
        }
        addGap(end);
    }

    std::vector<DiskRegion> regions;

private:
    void addGap(std::uint64_t end) { add("", "Apple_Free", end); }

    std::uint64_t position = 0;
};

} // namespace

std::string_view PartitionMap::contentHint() const {
    switch (scheme) {
    case Scheme::guid: return "GUID_partition_scheme";
    case Scheme::apple: return "Apple_partition_scheme";
    case Scheme::masterBootRecord: return "FDisk_partition_scheme";
    case Scheme::none: break;
    }
    return "";
}

PartitionMap readPartitionMap(BlockSource& disk) {
    PartitionMap map;
    const std::uint64_t sectorCount = disk.size() / sectorSize;
    Bytes start(2 * sectorSize);
    if (disk.size() >= start.size()) {
        disk.read(0, start);
        const ByteView second = ByteView(start).subspan(sectorSize);
        if (gpt::isHeader(second)) {
            map = {Scheme::guid, readGUIDPartitions(disk)};
        } else if (viewText(start).starts_with("ER") && viewText(second).starts_with("PM")) {
            map = {Scheme::apple, readApplePartitions(disk)};
        } else if (start[sectorSize - 2] == 0x55 && start[sectorSize - 1] == 0xAA) {
            if (auto partitions = readMasterBootRecord(start, sectorCount))
                map = {Scheme::masterBootRecord, *std::move(partitions)};
        }
    }
    if (map.scheme == Scheme::none)
        map.partitions.push_back(wholeDisk(disk));
    else
        requireSeparate(map.partitions, sectorCount);
    return map;
}

std::vector<DiskRegion> diskRegions(const PartitionMap& map, std::uint64_t sectorCount) {
    RegionList list;
    const std::vector<Partition>& partitions = map.partitions;
    switch (map.scheme) {
    case Scheme::guid: {
        const std::uint64_t usableEnd = sectorCount - std::min(sectorCount, gpt::sectorsAtEnd);
        list.add("Protective Master Boot Record", "MBR", gpt::headerSector);
        list.add("GPT Header", "Primary GPT Header", gpt::entriesSector);
        list.add("GPT Partition Data", "Primary GPT Table", gpt::firstUsableSector);
        list.addPartitions(partitions, usableEnd);
        list.add("GPT Partition Data", "Backup GPT Table", sectorCount - 1);
        list.add("GPT Header", "Backup GPT Header", sectorCount);
        break;
    }
    case Scheme::apple:
        list.add("Driver Descriptor Map", "DDM", 1);
        list.addPartitions(partitions, sectorCount);
        break;
    case Scheme::masterBootRecord:
        list.add("Master Boot Record", "MBR", 1);
        list.addPartitions(partitions, sectorCount);
        break;
    case Scheme::none: list.addPartitions(partitions, sectorCount); break;
    }
    return list.regions;
}

void writePartitionMap(int file, const std::filesystem::path& path, const SingleVolumeDisk& disk) {
    const gpt::Table table{disk.diskID,
                           {{.type = gpt::hfsPlusType,
                             .identifier = disk.partitionID,
                             .firstSector = SingleVolumeDisk::firstSector,
                             .lastSector = SingleVolumeDisk::firstSector + disk.volumeSectors() - 1,
                             .name = std::string(partitionName)}}};
    const std::uint64_t last = disk.sectorCount - 1;
    const auto write = [&](std::uint64_t sector, const Bytes& bytes) {
        writeAt(file, path, sector * sectorSize, bytes);
    };
    write(last - gpt::entriesSectors, gpt::entriesBlock(table));
    write(last, gpt::header(table, disk.sectorCount, last, gpt::headerSector));
    write(0, gpt::protectiveMBR(disk.sectorCount));
    write(gpt::headerSector, gpt::header(table, disk.sectorCount, gpt::headerSector, last));
    write(gpt::entriesSector, gpt::entriesBlock(table));
}

SingleVolumeDisk readSingleVolumeDisk(BlockSource& disk) {
    const PartitionMap map = readPartitionMap(disk);
    if (map.scheme == Scheme::guid) {
        const gpt::Table table = gpt::read(disk);
        SingleVolumeDisk found{.sectorCount = disk.size() / sectorSize, .diskID = table.diskID};
        if (table.entries.size() == 1 && table.entries[0].type == gpt::hfsPlusType &&
            found.sectorCount > SingleVolumeDisk::overhead &&
            table.entries[0].firstSector == SingleVolumeDisk::firstSector &&
            map.partitions[0].sectorCount == found.volumeSectors()) {
            found.partitionID = table.entries[0].identifier;
            return found;
        }
    }
    throw DiskImageError(DiskImageError::Unsupported{
        "only an image with one HFS+ volume, as `create` makes it, can be changed"});
}

} // namespace halvo
