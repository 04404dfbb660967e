// Writes the files that the fuzzers of DSStore start from: DSStoreSeeds FOLDER
#include <DSStore/DSStore.h>

#include <cstdio>

namespace {

using namespace halvo;
using Type = DSStore::RecordType;
using Value = DSStore::Value;

DSStore everyKind() {
    DSStore store({{"a", Type::extensionHidden, Value{true}},
                   {"a", Type::finderWindowVerticalHeight, Value{std::uint16_t(1)}},
                   {"a", Type::finderWindowSidebarWidth, Value{std::uint32_t(2)}},
                   {"a", Type::logicalSize, Value{std::uint64_t(3)}},
                   {"a", Type::modificationDate, Value{dsstore::Timestamp()}},
                   {"a", Type(DSStore::FourCC("mark")), Value{dsstore::Bookmark{{1, 2}}}},
                   {"a", Type(DSStore::FourCC("zero")), Value{}}});
    store.setComment("caf\u00e9 \U0001F4BE", "a");
    store.setViewStyle(dsstore::ViewStyle::list);
    store.setBackground(dsstore::ColorBackground{1, 2, 3});
    store.setWindowBounds({.top = 1, .left = 2, .bottom = 3, .right = 4});
    store.setWindowSettings({.windowBounds = "{{1, 2}, {3, 4}}", .targetPath = {"a", "b"}});
    store.setIconViewSettings({.showIconPreview = true, .iconSize = 96, .gridSpacing = 100});
    store.setListViewSettings(
        {.sortColumn = "name", .columns = dsstore::PlistValue(PropertyListArray{Date(), 1.5})},
        Type::listViewProperties);
    return store;
}

DSStore icons(int count) {
    DSStore store;
    for (int index = 0; index < count; ++index)
        store.setIconPosition("file " + std::to_string(index), index, index);
    return store;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: DSStoreSeeds FOLDER\n", stderr);
        return 64;
    }
    const std::filesystem::path folder = argv[1];
    std::filesystem::create_directories(folder);
    DSStore().write(folder / "empty");
    everyKind().write(folder / "every-kind");
    icons(3).write(folder / "leaf");
    icons(200).write(folder / "two-levels");
    return 0;
}
