#include "StoreFileBuilder.h"

#include <DSStore/BuddyAllocator.h>
#include <DSStore/DSStore.h>

#include <Support/CaseName.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using dsstore::BuddyAllocator;
using test::patched;
using test::readingDiagnostics;
using test::readingError;
using test::StoreFileBuilder;

// Places in the file of an empty store, whose allocator block lies at byte 4100.
constexpr std::size_t allocatorOffsetField = 8, allocatorSizeField = 12, secondOffsetField = 16;
constexpr std::size_t blockCount = 4100, reservedWord = 4104, slots = 4108;
constexpr std::size_t tocCount = 5132, tocName = 5136, tocBlock = 5141, freeLists = 5145;

struct Patch {
    std::size_t offset;
    std::uint32_t number;
};
struct DamagedContainer {
    const char* name;
    std::vector<Patch> patches;
    const char* error;
    std::size_t length = 8196;
};
class ContainerDamage : public testing::TestWithParam<DamagedContainer> {};

TEST_P(ContainerDamage, isNamed) {
    Bytes file = DSStore().serialize();
    for (const Patch& patch : GetParam().patches)
        file = patched(file, patch.offset, patch.number);
    file.resize(GetParam().length);
    EXPECT_EQ(readingError(file), GetParam().error);
}

INSTANTIATE_TEST_SUITE_P(
    Prologue, ContainerDamage,
    testing::Values(
        DamagedContainer{"empty", {}, "Corrupted file: Unexpected end of data", 0},
        DamagedContainer{"version", {{0, 2}, {4, 0}}, "Invalid file header"},
        DamagedContainer{"magic", {{4, 0x42756432}, {8, 1}}, "Invalid file magic number"},
        DamagedContainer{
            "oddOffset", {{allocatorOffsetField, 4098}}, "Corrupted file: Allocator offset is misaligned"},
        DamagedContainer{
            "smallSize", {{allocatorSizeField, 16}}, "Corrupted file: Allocator block size is too small"},
        DamagedContainer{"oddSize",
                         {{allocatorSizeField, 4095}},
                         "Corrupted file: Allocator block size must be a power of two"},
        DamagedContainer{"sizeBeyondFile",
                         {{allocatorSizeField, 0x80000000}},
                         "Corrupted file: Allocator block size exceeds file length"},
        DamagedContainer{"blockBeyondFile",
                         {{allocatorOffsetField, 4104}},
                         "Corrupted file: Allocator block exceeds file length"},
        DamagedContainer{"offsetsDiffer", {{secondOffsetField, 4100}}, "Root block offset mismatch"},
        DamagedContainer{"cutInThePrologue",
                         {{allocatorOffsetField, 0}, {allocatorSizeField, 32}, {secondOffsetField, 0}},
                         "Corrupted file: Invalid skip length",
                         35},
        // The check of the length leaves out the 4 bytes before offset 0.
        DamagedContainer{"fourBytesShort", {{freeLists, 0}}, "", 8192},
        DamagedContainer{"nothingBehindThePrologue",
                         {{allocatorOffsetField, 32}, {allocatorSizeField, 32}, {secondOffsetField, 32}},
                         "Corrupted file: Block addresses exceed remaining data",
                         64}),
    test::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Allocator, ContainerDamage,
    testing::Values(
        DamagedContainer{"noBlocks", {{blockCount, 0}}, "Corrupted file: Invalid block count"},
        DamagedContainer{"manyBlocks",
                         {{blockCount, 0xFFFFFFFF}},
                         "Corrupted file: Block addresses exceed remaining data"},
        DamagedContainer{
            "addressPastCount", {{slots + 4 * 255, 64}}, "Corrupted file: Block address exceeds block count"},
        DamagedContainer{"noTable", {{tocCount, 0}}, "Corrupted file: Missing table of contents"},
        DamagedContainer{
            "longTable", {{tocCount, 4}}, "Corrupted file: Table of contents count exceeds block count"},
        DamagedContainer{"tableBeyondFile",
                         {{tocCount, 3}, {allocatorSizeField, 32}},
                         "Corrupted file: Table of contents exceeds remaining data",
                         5136 + 14},
        DamagedContainer{
            "emptyName", {{tocName, 0x00445344}}, "Corrupted file: Table of contents entry has empty name"},
        DamagedContainer{"nameBeyondFile",
                         {{tocName, 0xFF445344}, {allocatorSizeField, 32}},
                         "Corrupted file: Table of contents name exceeds remaining data",
                         5300},
        DamagedContainer{"nameNotASCII", {{tocName, 0x04C35344}}, "Corrupted file: Invalid ASCII string"},
        DamagedContainer{"blockPastCount",
                         {{tocBlock, 3}},
                         "Corrupted file: Table of contents block number exceeds block count"},
        DamagedContainer{
            "blockZero", {{tocBlock, 0}}, "Corrupted file: Table of contents block number is invalid"},
        DamagedContainer{"freeListBeyondFile",
                         {{freeLists, 0x40000000}},
                         "Corrupted file: Free list exceeds remaining data"},
        DamagedContainer{"freeListMisaligned",
                         {{freeLists + 4 * 5 + 4, 97}},
                         "Corrupted file: Free list offset is misaligned"},
        DamagedContainer{"noTree", {{tocName, 0x04445345}}, "Invalid B-tree header"},
        DamagedContainer{"tinyOwnBlock", {{slots, 4096 | 4}}, "Invalid block address"},
        DamagedContainer{
            "ownOffset", {{slots, 8192 | 12}}, "Corrupted file: Allocator block offset mismatch"},
        DamagedContainer{"ownSize", {{slots, 4096 | 11}}, "Corrupted file: Allocator block size mismatch"},
        DamagedContainer{"treeBlockFree", {{slots + 4, 0}}, "Invalid block address"},
        DamagedContainer{"treeBlockTiny", {{slots + 4, 32 | 4}}, "Invalid block address"},
        DamagedContainer{"treeBlockMisaligned", {{slots + 4, 32 | 6}}, "Invalid block address"},
        DamagedContainer{"treeBlockBeyondFile",
                         {{slots + 4, 8192 | 5}},
                         "Corrupted file: B-tree block exceeds file length"}),
    test::CaseName());

TEST(AllocatorReading, passesOverAFreeListOfTheSmallestBlocks) {
    // List 0 has no bits to test, so any offset is taken.
    EXPECT_EQ(readingError(patched(patched(DSStore().serialize(), freeLists, 1), freeLists + 4, 7)), "");
}

TEST(AllocatorReading, reportsTheReservedWord) {
    EXPECT_THAT(readingDiagnostics(patched(DSStore().serialize(), reservedWord, 1)),
                testing::ElementsAre("Allocator header contains non-zero reserved value"));
}

TEST(AllocatorReading, keepsAndReportsUnknownEntries) {
    StoreFileBuilder builder;
    builder.nodes = {{StoreFileBuilder::leaf({})}};
    builder.tableOfContents = {{"XTRA", 2}, {"DSDB", 1}};
    EXPECT_THAT(readingDiagnostics(builder.build()),
                testing::ElementsAre("Unknown table of contents entry: XTRA"));
    EXPECT_EQ(dsstore::readAllocator(builder.build(), {}).tableOfContents.at("XTRA"), 2u);
    builder.tableOfContents = {{"DSDB", 1}, {"DSDB", 1}};
    EXPECT_EQ(readingError(builder.build()), "Corrupted file: Duplicate table of contents entry");
}

TEST(AllocatorReading, decodesAddresses) {
    EXPECT_EQ(BuddyAllocator::decodeAddress(0x100C), (BuddyAllocator::Address{0x1000, 4096}));
    EXPECT_EQ(BuddyAllocator::decodeAddress(0xFFFFFFFF), (BuddyAllocator::Address{0xFFFFFFE0, 0x80000000}));
    const BuddyAllocator allocator{.blockAddresses = {0x100C, 0, 0x20 | 5, 0x8000001F}, .blockCount = 4};
    EXPECT_EQ(allocator.blockOffset(0), (BuddyAllocator::Block{0x1004, 4096}));
    EXPECT_EQ(allocator.blockOffset(3), (BuddyAllocator::Block{0x80000004, 0x80000000}));
    for (const std::uint32_t number : {1u, 4u, UINT32_MAX})
        EXPECT_THROW((void)allocator.blockOffset(number), DSStore::Error) << number;
}

} // namespace
} // namespace halvo
