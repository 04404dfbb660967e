#include "StoreFileBuilder.h"

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
        std::vector<Patch> patches;
        const char* error;
        std::size_t length = 8196;
    } cases[] = {
        {{}, "Unexpected end of data", 0},
        {{{0, 2}, {4, 0}}, "Invalid file header"},
        {{{4, 0x42756432}, {8, 1}}, "Invalid file magic number"},
        {{{allocatorOffsetField, 4098}}, "Allocator offset is misaligned"},
        {{{allocatorSizeField, 16}}, "Allocator block size is too small"},
        {{{allocatorSizeField, 4095}}, "Allocator block size must be a power of two"},
        {{{allocatorSizeField, 0x80000000}}, "Allocator block size exceeds file length"},
        {{{allocatorOffsetField, 4104}}, "Allocator block exceeds file length"},
        {{{secondOffsetField, 4100}}, "Root block offset mismatch"},
        {{{blockCount, 0}}, "Invalid block count"},
        {{{blockCount, 0xFFFFFFFF}}, "Block addresses exceed remaining data"},
        {{{slots + 4 * 255, 64}}, "Block address exceeds block count"},
        {{{tocCount, 0}}, "Missing table of contents"},
        {{{tocCount, 4}}, "Table of contents count exceeds block count"},
        {{{tocCount, 3}, {allocatorSizeField, 32}}, "Table of contents exceeds remaining data", 5136 + 14},
        {{{tocName, 0x00445344}}, "Table of contents entry has empty name"},
        {{{tocName, 0xFF445344}, {allocatorSizeField, 32}},
         "Table of contents name exceeds remaining data",
         5300},
        {{{tocName, 0x04C35344}}, "Invalid ASCII string"},
        {{{tocBlock, 3}}, "Table of contents block number exceeds block count"},
        {{{tocBlock, 0}}, "Table of contents block number is invalid"},
        {{{freeLists, 0x40000000}}, "Free list exceeds remaining data"},
        {{{freeLists + 4 * 5 + 4, 97}}, "Free list offset is misaligned"},
        {{{tocName, 0x04445345}}, "Invalid B-tree header"},
        {{{slots, 8192 | 12}}, "Allocator block offset mismatch"},
        {{{slots, 4096 | 11}}, "Allocator block size mismatch"},
        {{{slots + 4, 0}}, "Invalid block address"},
        {{{slots + 4, 8192 | 5}}, "B-tree block exceeds file length"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
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

TEST(AllocatorReading, reportsUnknownEntries) {
    StoreFileBuilder builder;
    builder.nodes = {{StoreFileBuilder::leaf({})}};
    builder.tableOfContents = {{"XTRA", 2}, {"DSDB", 1}};
    EXPECT_THAT(readingDiagnostics(builder.build()),
                testing::ElementsAre("Unknown table of contents entry: XTRA"));
    builder.tableOfContents = {{"DSDB", 1}, {"DSDB", 1}};
    EXPECT_EQ(readingError(builder.build()), "Duplicate table of contents entry");
}

} // namespace
} // namespace halvo
