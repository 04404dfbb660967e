#include "StoreFileBuilder.h"

#include <DSStore/BuddyAllocator.h>
#include <DSStore/DSStore.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

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
TEST(ContainerDamage, isNamed) {
    const struct {
        const char* name;
        std::vector<Patch> patches;
        const char* error;
        std::size_t length = 8196;
    } cases[] = {
        {"empty", {}, "Corrupted file: Unexpected end of data", 0},
        {"version", {{0, 2}, {4, 0}}, "Invalid file header"},
        {"magic", {{4, 0x42756432}, {8, 1}}, "Invalid file magic number"},
        {"oddOffset", {{allocatorOffsetField, 4098}}, "Corrupted file: Allocator offset is misaligned"},
        {"smallSize", {{allocatorSizeField, 16}}, "Corrupted file: Allocator block size is too small"},
        {"oddSize",
         {{allocatorSizeField, 4095}},
         "Corrupted file: Allocator block size must be a power of two"},
        {"sizeBeyondFile",
         {{allocatorSizeField, 0x80000000}},
         "Corrupted file: Allocator block size exceeds file length"},
        {"blockBeyondFile",
         {{allocatorOffsetField, 4104}},
         "Corrupted file: Allocator block exceeds file length"},
        {"offsetsDiffer", {{secondOffsetField, 4100}}, "Root block offset mismatch"},
        {"noBlocks", {{blockCount, 0}}, "Corrupted file: Invalid block count"},
        {"manyBlocks", {{blockCount, 0xFFFFFFFF}}, "Corrupted file: Block addresses exceed remaining data"},
        {"addressPastCount", {{slots + 4 * 255, 64}}, "Corrupted file: Block address exceeds block count"},
        {"noTable", {{tocCount, 0}}, "Corrupted file: Missing table of contents"},
        {"longTable", {{tocCount, 4}}, "Corrupted file: Table of contents count exceeds block count"},
        {"tableBeyondFile",
         {{tocCount, 3}, {allocatorSizeField, 32}},
         "Corrupted file: Table of contents exceeds remaining data",
         5136 + 14},
        {"emptyName", {{tocName, 0x00445344}}, "Corrupted file: Table of contents entry has empty name"},
        {"nameBeyondFile",
         {{tocName, 0xFF445344}, {allocatorSizeField, 32}},
         "Corrupted file: Table of contents name exceeds remaining data",
         5300},
        {"nameNotASCII", {{tocName, 0x04C35344}}, "Corrupted file: Invalid ASCII string"},
        {"blockPastCount",
         {{tocBlock, 3}},
         "Corrupted file: Table of contents block number exceeds block count"},
        {"blockZero", {{tocBlock, 0}}, "Corrupted file: Table of contents block number is invalid"},
        {"freeListBeyondFile", {{freeLists, 0x40000000}}, "Corrupted file: Free list exceeds remaining data"},
        {"freeListMisaligned",
         {{freeLists + 4 * 5 + 4, 97}},
         "Corrupted file: Free list offset is misaligned"},
        {"noTree", {{tocName, 0x04445345}}, "Invalid B-tree header"},
        {"ownOffset", {{slots, 8192 | 12}}, "Corrupted file: Allocator block offset mismatch"},
        {"ownSize", {{slots, 4096 | 11}}, "Corrupted file: Allocator block size mismatch"},
        {"treeBlockFree", {{slots + 4, 0}}, "Invalid block address"},
        {"treeBlockBeyondFile", {{slots + 4, 8192 | 5}}, "Corrupted file: B-tree block exceeds file length"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        Bytes file = DSStore().serialize();
        for (const Patch& patch : row.patches)
            file = patched(file, patch.offset, patch.number);
        file.resize(row.length);
        EXPECT_EQ(readingError(file), row.error);
    }
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

} // namespace
} // namespace halvo
