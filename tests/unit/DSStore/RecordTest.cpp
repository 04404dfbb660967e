#include "StoreFileBuilder.h"

#include <DSStore/DSStore.h>

#include <Support/StoreChecker.h>
#include <Support/TestData.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace halvo {
namespace {

using dsstore::Bookmark;
using dsstore::PlistValue;
using dsstore::Timestamp;
using Record = DSStore::Record;
using Type = DSStore::RecordType;
using Value = DSStore::Value;
using dsstore::FourCC;

Timestamp seconds(double since1970) { return Timestamp(Timestamp::duration(since1970)); }

TEST(Values, standInTheFileAsTheFormatWants) {
    const struct {
        Value value;
        const char* code;
        const char* payload; ///< in hexadecimal
    } cases[] = {{Value{}, "", ""},
                 {Value{true}, "bool", "01"},
                 {Value{std::uint16_t(0xFFFE)}, "shor", "0000fffe"},
                 {Value{std::uint32_t(0xFEDCBA98)}, "long", "fedcba98"},
                 {Value{std::uint64_t(0xFEDCBA9876543210)}, "comp", "fedcba9876543210"},
                 {Value{seconds(-2082844800)}, "dutc", "0000000000000000"},
                 {Value{seconds(1.0 / 65536)}, "dutc", "00007c25b0800001"},
                 {Value{FourCC("icnv")}, "type", "69636e76"},
                 {Value{std::string("A\u00e9\U0001F4BE")}, "ustr", "004100e9d83ddcbe"},
                 {Value{Bytes{0, 1, 255}}, "blob", "0001ff"},
                 {Value{Bookmark{{'b', 'o', 'o', 'k'}}}, "book", "626f6f6b"},
                 {Value{copyBytes("bplist00 but not really")}, "blob",
                  "62706c697374303020627574206e6f74207265616c6c79"},
                 {Value{PlistValue(true)}, "blob",
                  "62706c697374303009080000000000000101000000000000000100000000000000000000000000000009"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        const DSStore store({{"a", Type::iconLocation, row.value}});
        const Bytes file = store.serialize();
        const std::vector<test::StoredRecord> stored = test::checkStore(file).records;
        ASSERT_EQ(stored.size(), 1u);
        EXPECT_EQ(stored[0].valueType, row.code);
        EXPECT_EQ(toHex(stored[0].payload), row.payload);
        EXPECT_EQ(DSStore::read(file), store);
    }
}

TEST(Values, keepTheLargestMoment) {
    const Bytes node = test::StoreFileBuilder::leaf(
        {test::StoreFileBuilder::record("a", "modD", "dutc\xff\xff\xff\xff\xff\xff\xff\xff")});
    const DSStore store = DSStore::read(test::StoreFileBuilder{.recordCount = 1, .nodes = {{node}}}.build());
    EXPECT_EQ(toHex(test::checkStore(store.serialize()).records[0].payload), "ffffffffffffffff");
}

TEST(PropertyLists, areRecognisedInBothForms) {
    const PlistValue list(PropertyListDictionary{
        {"a", PropertyListArray{1.5, "x", true, std::int64_t(-3)}}, {"b", Bytes{1, 2}}, {"c", Date()}});
    for (const Bytes& bytes : {list.binary(), list.xml()}) {
        const DSStore data({{".", Type::iconViewProperties, Value{bytes}}});
        const DSStore listed({{".", Type::iconViewProperties, Value{list}}});
        EXPECT_EQ(DSStore::read(data.serialize()), listed);
    }
}

TEST(PropertyLists, thatUnfoldOrReferToArchivesStayBytes) {
    // 8 arrays, each with the next one twice: 511 values out of 82 bytes.
    Bytes nested = copyBytes("bplist00");
    Bytes table;
    for (std::uint8_t level = 0; level < 8; ++level) {
        table.push_back(static_cast<std::uint8_t>(nested.size()));
        const auto next = static_cast<std::uint8_t>(level + 1);
        nested.insert(nested.end(), {0xA2, next, next});
    }
    table.push_back(static_cast<std::uint8_t>(nested.size()));
    nested.push_back(0x09);
    const auto tableOffset = static_cast<std::uint8_t>(nested.size());
    nested.insert(nested.end(), table.begin(), table.end());
    nested.insert(nested.end(), {0, 0, 0, 0, 0, 0, 1, 1, 0, 0, 0, 0, 0, 0, 0, 9,
                                 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, tableOffset});
    const Bytes archive = PlistValue(PropertyListArray{PropertyListUID{1}}).binary();
    for (const Bytes& bytes : {nested, archive}) {
        const DSStore store({{".", Type::iconViewProperties, Value{bytes}}});
        EXPECT_EQ(DSStore::read(store.serialize()), store);
    }
}

TEST(FourCC, isFourASCIICharacters) {
    EXPECT_EQ(FourCC("Bud1").rawValue, 0x42756431u);
    EXPECT_EQ(FourCC::parse("Bud1"), FourCC("Bud1"));
    for (const char* text : {"", "abc", "abcde", "ab\u00e9", "caf\u00e9"})
        EXPECT_EQ(FourCC::parse(text), std::nullopt) << text;
    EXPECT_EQ(FourCC("Iloc").stringValue(), "Iloc");
    EXPECT_EQ(FourCC(0x496C6F80).stringValue(), "????");
    const nlohmann::json json = FourCC("Iloc");
    EXPECT_EQ(json, nlohmann::json({{"rawValue", 0x496C6F63}}));
    EXPECT_EQ(json.get<FourCC>(), FourCC("Iloc"));
    EXPECT_THROW(nlohmann::json({{"rawValue", 1LL << 32}}).get<FourCC>(), std::out_of_range);
}

TEST(RecordType, knowsItsNames) {
    EXPECT_EQ(Type::listViewPropertiesAlternate.displayName(), "List View Properties (Alternate)");
    EXPECT_EQ(Type(FourCC("lsvP")), Type::listViewPropertiesAlternate);
    EXPECT_FALSE(Type(FourCC("lsvP")).isCustom());
    EXPECT_TRUE(Type(FourCC("pBBk")).isCustom());
    EXPECT_EQ(Type(FourCC("pBBk")).displayName(), "pBBk");
    EXPECT_EQ((Record{"Demo.app", Type::iconLocation, {}}).description(),
              "DSStore.Record(filename: \"Demo.app\", type: Icon Location)");
}

/// A file with records of every kind, so that a change of the format shows as a change of this file.
TEST(StoreFile, isTheOneOnRecord) {
    DSStore store({{"Demo.app", Type::modificationDate, Value{seconds(1785542400.25)}},
                   {"Demo.app", Type::logicalSize, Value{std::uint64_t(1) << 40}},
                   {"Demo.app", Type::extensionHidden, Value{true}},
                   {"caf\u00e9.txt", Type::trashPutBackName, Value{std::string("\u65e5\u672c \U0001F4BE")}},
                   {"caf\u00e9.txt", Type(FourCC("book")), Value{Bookmark{{1, 2, 3}}}},
                   {".", Type::finderWindowVerticalHeight, Value{std::uint16_t(400)}},
                   {".", Type::finderWindowSidebarWidth, Value{std::uint32_t(169)}},
                   {".", Type(FourCC("zero")), Value{}}});
    store.setIconPosition("Demo.app", 150, 174);
    store.setComment("Built by hand", "Demo.app");
    store.setViewStyle(dsstore::ViewStyle::icon);
    store.setViewSort(dsstore::ViewSort::name);
    store.setBackground(dsstore::ColorBackground{0xFFFF, 0x8000, 0});
    store.setWindowBounds({.top = 120, .left = 200, .bottom = 520, .right = 800});
    store.setIconViewSettings(
        {.showIconPreview = true, .iconSize = 96, .gridSpacing = 100.0, .arrangeBy = "none"});
    const Bytes file = store.serialize();
    test::expectGolden("DSStore/every-kind.DS_Store", viewText(file));
    const DSStore read = DSStore::read(test::readTestData("DSStore/every-kind.DS_Store"));
    EXPECT_EQ(read.size(), store.size());
    for (const Record& record : store.records())
        EXPECT_EQ(*read.record(record.filename, record.type), record) << record.description();
}

} // namespace
} // namespace halvo
