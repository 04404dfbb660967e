#include "StoreFileBuilder.h"

#include <DSStore/DSStore.h>
#include <DSStore/DiagnosticHandler.h>

#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::readingDiagnostics;
using test::readingError;
using test::StoreFileBuilder;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr auto record = [](const char* name, const std::string& type = "Iloc",
                           const std::string& value = std::string(4, '\0')) {
    return StoreFileBuilder::record(name, type, value);
};
constexpr auto leaf = StoreFileBuilder::leaf;
constexpr auto internal = StoreFileBuilder::internal;

StoreFileBuilder singleLeaf(const std::vector<Bytes>& records) {
    StoreFileBuilder builder;
    builder.recordCount = static_cast<std::uint32_t>(records.size());
    builder.nodes = {{leaf(records)}};
    return builder;
}

/// Block 2 is the root over the leaves "a" (3) and "c" (4).
StoreFileBuilder twoLevels() {
    StoreFileBuilder builder;
    builder.height = 1;
    builder.recordCount = 3;
    builder.nodeCount = 3;
    builder.nodes = {{internal({3, 4}, {record("b")})}, {leaf({record("a")})}, {leaf({record("c")})}};
    return builder;
}

Bytes withCount(Bytes node, std::uint32_t count) { return test::patched(std::move(node), 4, count); }

using B = StoreFileBuilder;
TEST(TreeDamage, isNamed) {
    const struct {
        void (*damage)(StoreFileBuilder&);
        const char* error;
    } cases[] = {
        {[](B& file) { file.root = 0; }, "Invalid B-tree header"},
        {[](B& file) { file.nodeCount = 0; }, "Invalid B-tree node count"},
        {[](B& file) { file.height = 4; }, "B-tree height exceeds node count"},
        {[](B& file) { file.pageSize = 8192; }, "Invalid B-tree header"},
        {[](B& file) { file.nodeCount = 4; }, "B-tree node count mismatch"},
        {[](B& file) { file.recordCount = 4; }, "B-tree record count mismatch"},
        {[](B& file) { file.height = 0; }, "B-tree height mismatch"},
        {[](B& file) { file.root = 5; }, "Invalid block address"},
        {[](B& file) {
             file.nodes[0].data = internal({3, 3}, {record("b")});
         },
         "B-tree contains duplicate node reference"},
        {[](B& file) {
             file.nodes[0].data = internal({0, 4}, {record("b")});
         },
         "Internal node contains zero child pointer"},
        {[](B& file) { file.nodes[0].data = internal({4}, {}); }, "Internal node has no records"},
        {[](B& file) {
             file.nodes[0].data = withCount(internal({3, 4}, {record("b")}), 256);
         },
         "Internal node record count exceeds block size"},
        {[](B& file) { file.nodes[1].data = withCount(leaf({record("a")}), 341); },
         "Leaf node record count exceeds block size"},
        {[](B& file) {
             file.nodes[1].offset = 0x10000000;
             file.nodes[1].data = {};
         },
         "Node exceeds file length"},
        {[](B& file) { // by one byte
             file.nodes[1] = {leaf({record("a", "cmmt", std::string("blob\0\0\0\x07", 8))}), 5};
         },
         "Leaf node record exceeds block size"},
        {[](B& file) {
             file.nodes[0] = {internal({3, 4}, {record("b", "cmmt", std::string("blob\0\0\0\x03", 8))}), 5};
         },
         "Internal node record exceeds block size"},
        {[](B& file) { file.nodes[2].data = leaf({record("a")}); }, "Duplicate record key"},
        {[](B& file) {
             file.nodeCount = 1;
             file.nodes[1].data = internal({4, 5}, {record("a")});
         },
         "B-tree depth exceeds supported limit"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        StoreFileBuilder builder = twoLevels();
        ASSERT_EQ(readingError(builder.build()), "");
        row.damage(builder);
        EXPECT_EQ(readingError(builder.build()), row.error);
    }
}

std::string value(const char* code, std::initializer_list<unsigned> bytes) {
    std::string text = code;
    for (const unsigned byte : bytes)
        text += static_cast<char>(byte);
    return text;
}

TEST(RecordDamage, isNamed) {
    const struct {
        Bytes record;
        const char* error;
    } cases[] = {
        {test::patched(record("a"), 0, 0x10000), "Filename exceeds remaining data"},
        {test::patched(record("ab"), 4, 0xD8000041), "Invalid UTF-16 string encoding"},
        {record("a", std::string(4, '\0')), "Invalid record type"},
        {record("a", "Iloc", "what"), "Unknown data type: what"},
        {record("a", "Iloc", value("bool", {2})), "Invalid bool value"},
        {record("a", "Iloc", value("shor", {0, 1, 0, 0})), "Invalid shor value"},
        {record("a", "Iloc", value("ustr", {0x7F, 0, 0, 0})), "String exceeds remaining data"},
        {record("a", "Iloc", value("blob", {0xFF, 0xFF, 0xFF, 0xFF})), "Blob exceeds remaining data"},
        {record("a", "Iloc", value("book", {0, 1, 0, 0})), "Bookmark exceeds remaining data"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        EXPECT_EQ(readingError(singleLeaf({row.record}).build()), row.error);
    }
}

TEST(TreeReading, keepsUnknownRecordsAndWritesThemAgain) {
    const DSStore store =
        DSStore::read(singleLeaf({record("a", "zzzz", value("long", {1, 2, 3, 4}))}).build());
    EXPECT_TRUE(store.records().front().type.isCustom());
    EXPECT_EQ(DSStore::read(store.serialize()), store);
}

TEST(TreeReading, reportsRecordsOutOfOrderAndKeepsTheirPlace) {
    const Bytes shuffled = singleLeaf({record("b"), record("a"), record("a", "Aaaa"), record("C")}).build();
    EXPECT_THAT(readingDiagnostics(shuffled), ElementsAre("Leaf node record order is invalid for a",
                                                          "Leaf node record order is invalid for a"));
    EXPECT_EQ(DSStore::read(shuffled).records().front().filename, "b");

    StoreFileBuilder tree = twoLevels();
    tree.nodes[0].data = internal({3, 4}, {record("0")});
    EXPECT_THAT(readingDiagnostics(tree.build()), ElementsAre("Internal node record order is invalid for 0"));
    EXPECT_THAT(readingDiagnostics(singleLeaf({record("a"), record("A"), record("a", "zzzz")}).build()),
                IsEmpty());
}

TEST(TreeReading, goesNoDeeperThanTheLimit) {
    // A chain of internal nodes, each with the next one for its first child; the last one is a leaf.
    for (const auto& [levels, error] :
         {std::pair{1024u, "B-tree node count mismatch"}, {1025u, "B-tree depth exceeds supported limit"}}) {
        StoreFileBuilder builder;
        builder.height = levels;
        builder.nodeCount = 3000;
        for (std::uint32_t level = 0; level < levels; ++level)
            builder.nodes.push_back(
                {internal({level + 3, levels + 3 + level}, {record("")}), 5, 64 + 32 * level});
        for (std::uint32_t last = 0; last <= levels; ++last)
            builder.nodes.push_back({leaf({}), 5, 64 + 32 * (levels + last)});
        EXPECT_EQ(readingError(builder.build()), error) << levels;
    }
}

TEST(TreeReading, stopsCollectingWhereNodesOverlap) {
    // 200 leaves lie over each other, so the records outnumber the bytes of the file.
    StoreFileBuilder builder;
    std::vector<std::uint32_t> children;
    std::vector<Bytes> separators;
    for (std::uint32_t child = 3; child < 203; ++child) {
        children.push_back(child);
        if (child > 3)
            separators.push_back(record(""));
        builder.nodes.push_back({{}, 12, 8192});
    }
    builder.nodes.insert(builder.nodes.begin(), {internal(children, separators)});
    builder.nodes[1] = {leaf(std::vector<Bytes>(340, record("")))};
    builder.nodeCount = 201;
    EXPECT_EQ(readingError(builder.build()), "Duplicate record key");
}

TEST(Diagnostics, goToTheThreadsHandlerFirst) {
    const Bytes file = singleLeaf({record("b"), record("a")}).build();
    int process = 0, thread = 0, nested = 0;
    dsstore::DiagnosticHandlerStorage::set([&](const std::string&) { ++process; });
    {
        const dsstore::ThreadDiagnosticHandler outer([&](const std::string&) { ++thread; });
        {
            const dsstore::ThreadDiagnosticHandler inner([&](const std::string&) { ++nested; });
            DSStore::read(file);
        }
        DSStore::read(file);
        std::thread([&] { DSStore::read(file); }).join();
    }
    dsstore::DiagnosticHandlerStorage::set({});
    DSStore::read(file);
    EXPECT_EQ(nested, 1);
    EXPECT_EQ(thread, 1);
    EXPECT_EQ(process, 1);
}

} // namespace
} // namespace halvo
