#include <DiskImage/DiskImageError.h>
#include <DiskImage/PartitionMap.h>
#include <Platform/Descriptor.h>
#include <Platform/Files.h>

#include "MemoryDisk.h"

#include <Support/TemporaryFolder.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

namespace halvo {
namespace {

using test::MemoryDisk;
using testing::ElementsAre;

Bytes diskOf(const SingleVolumeDisk& disk) {
    const test::TemporaryFolder folder;
    const std::filesystem::path path = folder.write("disk", "");
    const Descriptor file(::open(path.c_str(), O_RDWR | O_CLOEXEC));
    EXPECT_EQ(::ftruncate(file.get(), static_cast<off_t>(disk.sectorCount * 512)), 0);
    writePartitionMap(file.get(), path, disk);
    return readFile(path);
}

const SingleVolumeDisk sample{.sectorCount = 1100, .diskID = UUID::random(), .partitionID = UUID::random()};

TEST(PartitionMap, isReadAsWritten) {
    MemoryDisk disk(diskOf(sample));
    const PartitionMap map = readPartitionMap(disk);
    EXPECT_EQ(map.contentHint(), "GUID_partition_scheme");
    EXPECT_THAT(map.partitions, ElementsAre(Partition{"disk image", "Apple_HFS", 40, 1024}));
    const SingleVolumeDisk found = readSingleVolumeDisk(disk);
    EXPECT_EQ(found.diskID, sample.diskID);
    EXPECT_EQ(found.partitionID, sample.partitionID);
    EXPECT_THAT(diskRegions(map, 1100),
                ElementsAre(DiskRegion{"Protective Master Boot Record (MBR : 0)", 0, 1},
                            DiskRegion{"GPT Header (Primary GPT Header : 1)", 1, 1},
                            DiskRegion{"GPT Partition Data (Primary GPT Table : 2)", 2, 32},
                            DiskRegion{" (Apple_Free : 3)", 34, 6},
                            DiskRegion{"disk image (Apple_HFS : 4)", 40, 1024},
                            DiskRegion{" (Apple_Free : 5)", 1064, 3},
                            DiskRegion{"GPT Partition Data (Backup GPT Table : 6)", 1067, 32},
                            DiskRegion{"GPT Header (Backup GPT Header : 7)", 1099, 1}));
}

TEST(PartitionMap, ofChangedBytesIsRefused) {
    for (const std::size_t offset : {512u + 40u, 512u + 72u, 1024u + 33u}) {
        MemoryDisk disk(diskOf(sample));
        disk.bytes[offset] ^= 1;
        EXPECT_THROW(readPartitionMap(disk), DiskImageError) << offset;
    }
}

TEST(PartitionMap, ofAppleIsRead) {
    MemoryDisk disk(Bytes(70 * 512));
    const auto entry = [&](std::size_t sector, std::uint8_t first, std::uint8_t count, std::string_view name,
                           std::string_view type) {
        const auto at = disk.bytes.begin() + static_cast<std::ptrdiff_t>(sector * 512);
        std::copy_n("PM", 2, at);
        at[7] = 2;
        at[11] = first;
        at[15] = count;
        std::copy(name.begin(), name.end(), at + 16);
        std::copy(type.begin(), type.end(), at + 48);
    };
    std::copy_n("ER", 2, disk.bytes.begin());
    entry(1, 1, 63, "Apple", "Apple_partition_map");
    entry(2, 64, 6, "disk image", "Apple_HFS");
    const PartitionMap map = readPartitionMap(disk);
    EXPECT_THAT(diskRegions(map, 70), ElementsAre(DiskRegion{"Driver Descriptor Map (DDM : 0)", 0, 1},
                                                  DiskRegion{"Apple (Apple_partition_map : 1)", 1, 63},
                                                  DiskRegion{"disk image (Apple_HFS : 2)", 64, 6}));
    disk.bytes[2 * 512 + 11] = 60; // inside of the map
    EXPECT_THROW(readPartitionMap(disk), DiskImageError);
    disk.bytes[512 + 4] = 0xFF; // four thousand million partitions
    EXPECT_THROW(readPartitionMap(disk), DiskImageError);
}

TEST(PartitionMap, isAbsentOnABareVolume) {
    MemoryDisk disk(Bytes(8 * 512));
    std::copy_n("H+", 2, disk.bytes.begin() + 1024);
    EXPECT_THAT(readPartitionMap(disk).partitions, ElementsAre(Partition{"whole disk", "Apple_HFS", 0, 8}));
    EXPECT_THAT(diskRegions(readPartitionMap(disk), 8),
                ElementsAre(DiskRegion{"whole disk (Apple_HFS : 0)", 0, 8}));
}

} // namespace
} // namespace halvo
