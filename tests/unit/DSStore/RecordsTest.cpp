#include <DSStore/DSStore.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using Record = DSStore::Record;
using Type = DSStore::RecordType;
using Value = DSStore::Value;
using testing::ElementsAre;

const Record location{"a", Type::iconLocation, Value{std::uint32_t(1)}};
const Record comment{"a", Type::spotlightComment, Value{std::string("hello")}};
const Record other{"b", Type::iconLocation, Value{std::uint32_t(2)}};

std::vector<Record> recordsOf(const DSStore& store) {
    return {store.records().begin(), store.records().end()};
}

TEST(Records, replacesTheSameKeyAtTheEnd) {
    DSStore store({location, comment, other});
    const Record moved{"a", Type::iconLocation, Value{std::uint32_t(3)}};
    store.add(moved);
    EXPECT_THAT(recordsOf(store), ElementsAre(comment, other, moved));
    EXPECT_THAT(store.records("a"), ElementsAre(comment, moved));
    EXPECT_EQ(*store.record("a", Type::iconLocation), moved);
}

TEST(Records, removesByNameAndByKey) {
    DSStore store({location, comment, other});
    store.remove("a", Type::iconLocation);
    store.remove("a", Type::viewStyle);
    store.remove("c", Type::iconLocation);
    EXPECT_THAT(recordsOf(store), ElementsAre(comment, other));
    store.removeRecords("a");
    EXPECT_THAT(store.filenames(), ElementsAre("b"));
    EXPECT_EQ(store.record("a", Type::spotlightComment), nullptr);
    EXPECT_EQ(store.size(), 1u);
}

TEST(Records, tellsNamesApartExactly) {
    DSStore store;
    store.setComment("one", "a");
    store.setComment("two", "A");
    store.setComment("three", "\u00e9");
    store.setComment("four", "e\u0301");
    EXPECT_EQ(store.size(), 4u);
    EXPECT_EQ(store.comment("A"), "two");
    store.removeComment("A");
    EXPECT_EQ(store.comment("A"), std::nullopt);
    EXPECT_EQ(store.comment("a"), "one");
    EXPECT_EQ(DSStore::read(store.serialize()).size(), 3u);
}

} // namespace
} // namespace halvo
