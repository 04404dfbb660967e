#include <DSStore/DSStore.h>

#include <Support/StoreChecker.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestData.h>

#include <random>
#include <set>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::checkStore;
using test::StoredFile;
using test::StoredRecord;
using Record = DSStore::Record;
using Type = DSStore::RecordType;
using Value = DSStore::Value;

/// A record whose encoded form has exactly that many bytes.
Record recordOfSize(std::size_t size, const std::string& name) {
    const std::size_t overhead = 4 + 2 * name.size() + 4 + 4 + 4;
    return {name, Type::iconLocation, Value{Bytes(size - overhead, 0x5A)}};
}

std::string numbered(std::size_t index) {
    std::string digits = std::to_string(index);
    return "item " + std::string(6 - digits.size(), '0') + digits;
}

std::string writingError(const DSStore& store) {
    try {
        store.serialize();
        return "nothing";
    } catch (const DSStore::Error& error) {
        const auto* failed = std::get_if<DSStore::Error::WriteFailed>(&error.which);
        return failed ? failed->detail : error.description();
    }
}

/// Reads a file with the strict checker and with the library, and holds both against what was written.
StoredFile expectWritten(const DSStore& store) {
    const Bytes file = store.serialize();
    const StoredFile checked = checkStore(file);
    const DSStore back = DSStore::read(file);
    const std::vector<Record> read(back.records().begin(), back.records().end());
    EXPECT_EQ(read.size(), store.size());
    EXPECT_EQ(checked.records.size(), store.size());
    for (std::size_t index = 0; index < read.size(); ++index) {
        const Record* original = store.record(read[index].filename, read[index].type);
        EXPECT_TRUE(original && *original == read[index]) << read[index].description();
        EXPECT_EQ(checked.records[index].filename, read[index].filename);
        EXPECT_EQ(checked.records[index].type, read[index].type.code().stringValue());
        if (const Bytes* data = read[index].value.as<Bytes>()) {
            EXPECT_EQ(checked.records[index].payload, *data);
        }
    }
    return checked;
}

TEST(StoreWriting, laysOutAnEmptyStore) {
    const Bytes file = DSStore().serialize();
    EXPECT_EQ(file.size(), 8196u);
    const StoredFile checked = checkStore(file);
    EXPECT_EQ(checked.nodeCount, 1u);
    EXPECT_EQ(checked.height, 0u);
    EXPECT_EQ(checked.blockCount, 3u);
    std::vector<std::vector<std::uint32_t>> freeLists(32);
    for (const auto& [power, offset] :
         {std::pair{5, 96u}, {7, 128u}, {8, 256u}, {9, 512u}, {10, 1024u}, {11, 2048u}})
        freeLists[static_cast<std::size_t>(power)] = {offset};
    EXPECT_EQ(checked.freeLists, freeLists);
    EXPECT_EQ(DSStore::read(file), DSStore());
}

TEST(StoreWriting, writesEverySizeOfTree) {
    for (const std::size_t count : {1u, 2u, 3u, 90u, 91u, 92u, 1000u, 9000u}) {
        SCOPED_TRACE(count);
        DSStore store;
        for (std::size_t index = 0; index < count; ++index)
            store.setIconPosition(numbered(index), static_cast<std::int64_t>(index), 7);
        expectWritten(store);
    }
}

TEST(StoreWriting, writesRecordsOfEverySize) {
    std::mt19937 random(20260101);
    for (int round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        // From many small records to few that fill their page; the largest that an internal node takes is
        // 4084.
        const std::size_t largest = std::array{100u, 700u, 2000u, 2100u, 3000u, 4084u}[round % 6];
        DSStore store;
        const std::size_t count = random() % 150 + 1;
        for (std::size_t index = 0; index < count; ++index)
            store.add(recordOfSize(40 + random() % (largest - 39), numbered(random() % 100000)));
        expectWritten(store);
    }
}

// New nodes are numbered from 3 on, the right half before a new root.
TEST(Splits, giveTheTreeThatTheFormatAsksFor) {
    const struct {
        std::vector<std::size_t> sizes; ///< of the records a, b, c, ...
        const char* tree;
        std::uint32_t rootBlock;
    } cases[] = {{{1100, 1100, 1100, 1100}, "([a] b [c d])", 4},
                 {{900, 100, 100, 900, 900, 1500}, "([a b c d] e [f])", 4},
                 {{1100, 1100, 1100, 1100, 1100, 1100, 1100}, "([a] b [c] d [e f g])", 4},
                 {{2100, 2100}, "([] a [b])", 4},
                 {{2100, 2100, 2100, 2100, 2100}, "(([a] b []) c ([d] e []))", 2}};
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        DSStore store;
        for (const std::size_t size : row.sizes)
            store.add(recordOfSize(size, std::string(1, static_cast<char>('a' + store.size()))));
        const StoredFile file = expectWritten(store);
        EXPECT_EQ(file.tree, row.tree);
        EXPECT_EQ(file.rootBlock, row.rootBlock);
    }
}

TEST(StoreWriting, takesALeafFullAndNotOneByteMore) {
    EXPECT_EQ(expectWritten(DSStore({recordOfSize(4088, "a")})).nodeCount, 1u);
    EXPECT_EQ(writingError(DSStore({recordOfSize(4089, "a")})), "Record exceeds B-tree page size");
    // 8 bytes of header: these two fill a page, one byte more makes a second leaf and a root.
    EXPECT_EQ(expectWritten(DSStore({recordOfSize(2044, "a"), recordOfSize(2044, "b")})).height, 0u);
    EXPECT_EQ(expectWritten(DSStore({recordOfSize(2044, "a"), recordOfSize(2045, "b")})).height, 1u);
}

TEST(StoreWriting, keepsRecordsThatNoInternalNodeHoldsInLeaves) {
    expectWritten(DSStore({recordOfSize(100, "a"), recordOfSize(4088, "b"), recordOfSize(100, "c"),
                           recordOfSize(4085, "d"), recordOfSize(100, "e")}));
    EXPECT_EQ(writingError(DSStore({recordOfSize(4088, "a"), recordOfSize(4088, "b")})),
              "Unable to split B-tree node");
}

TEST(StoreWriting, growsTheBlockTableBy256) {
    // Three records of 1300 bytes overflow a leaf: each two of them add a node, so the tables of 256 and 512
    // slots are filled to the last one on the way.
    std::set<std::uint32_t> blockCounts;
    DSStore store;
    for (std::size_t index = 0; blockCounts.empty() || *blockCounts.rbegin() < 520; ++index) {
        store.add(recordOfSize(1300, numbered(index)));
        const std::size_t count = blockCounts.empty() ? 0 : *blockCounts.rbegin();
        if (count % 256 > 12 && count % 256 < 244 && index % 64 != 0)
            continue; // only the neighbourhood of a full table matters
        const Bytes file = store.serialize();
        blockCounts.insert(checkStore(file).blockCount);
        EXPECT_EQ(DSStore::read(file).size(), store.size());
    }
    for (const std::uint32_t full : {256u, 257u, 512u})
        EXPECT_TRUE(blockCounts.contains(full)) << full;
}

TEST(StoreWriting, sortsByFoldedNameThenByType) {
    const auto record = [](const char* name, Type type) { return Record{name, type, Value{true}}; };
    const DSStore store({record("\u00e9clair", Type::viewStyle), record("Zebra", Type::iconLocation),
                         record("b", Type::iconLocation), record("A", Type::viewStyle),
                         record("a", Type::iconLocation), record(".", Type::viewStyle),
                         record("Eclair", Type::iconLocation), record("\U0001F4BE", Type::iconLocation),
                         record("\ufb01n", Type::iconLocation), record("fig", Type::iconLocation),
                         record("\u03a3", Type::iconLocation), record("\u03c3", Type::viewStyle),
                         record("\uff5e", Type::iconLocation), record("e\u0301clair", Type::background)});
    std::vector<std::string> order;
    for (const StoredRecord& stored : checkStore(store.serialize()).records)
        order.push_back(stored.filename + " " + stored.type);
    // UTF-16 puts U+1F4BE (D83D DCBE) before U+FF5E.
    EXPECT_THAT(order, testing::ElementsAre(". vstl", "a Iloc", "A vstl", "b Iloc", "e\u0301clair BKGD",
                                            "Eclair Iloc", "\u00e9clair vstl", "fig Iloc", "\ufb01n Iloc",
                                            "Zebra Iloc", "\u03a3 Iloc", "\u03c3 vstl", "\U0001F4BE Iloc",
                                            "\uff5e Iloc"));
}

const Record one{"a", Type::iconLocation, Value{true}};
const auto dated = [](double seconds) {
    return DSStore(
        {{"a", Type::modificationDate, Value{dsstore::Timestamp(dsstore::Timestamp::duration(seconds))}}});
};
TEST(StoreRefusal, namesTheReason) {
    const struct {
        DSStore store;
        const char* error;
    } cases[] = {
        {DSStore({one, one}), "Duplicate record key"},
        {DSStore({{std::string("a\0b", 3), Type::iconLocation, Value{true}}}),
         "Filename contains a null character"},
        {DSStore({{"a\xff", Type::iconLocation, Value{true}}}), "Filename is not valid UTF-8"},
        {DSStore({{"a", Type::spotlightComment, Value{std::string("\xc3")}}}), "String is not valid UTF-8"},
        {DSStore({{"a", Type(DSStore::FourCC(0u)), Value{true}}}), "Invalid record type"},
        {dated(-2082844801.0), "Date is outside supported range"},
        {dated(281474976710657.0), "Date is outside supported range"},
        {DSStore({{"a", Type::iconViewProperties, Value{dsstore::PlistValue("\xff")}}}),
         "Property list serialization failed: A text of the property list is not UTF-8."}};
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        EXPECT_EQ(writingError(row.store), row.error);
    }
}

TEST(StoreWriting, keepsTheFileThatItCannotReplace) {
    const test::TemporaryFolder folder;
    const std::filesystem::path path = folder.write(".DS_Store", "old");
    EXPECT_THROW(DSStore({one, one}).write(path), DSStore::Error);
    EXPECT_EQ(test::readText(path), "old");
    DSStore({one}).write(path);
    EXPECT_EQ(DSStore::read(path), DSStore({one}));
    try {
        DSStore({one}).write(folder / "none" / ".DS_Store");
        ADD_FAILURE();
    } catch (const DSStore::Error& error) {
        EXPECT_TRUE(error.is<DSStore::Error::WriteFailed>());
        EXPECT_NE(error.description().find("No such file or directory"), std::string::npos)
            << error.description();
    }
}

} // namespace
} // namespace halvo
