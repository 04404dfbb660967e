#include <DSStore/DSStore.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using namespace dsstore;
using Type = DSStore::RecordType;

std::string payload(const DSStore& store, const std::string& filename, Type type) {
    const Record* record = store.record(filename, type);
    const Bytes* bytes = record ? record->value.as<Bytes>() : nullptr;
    return bytes ? toHex(*bytes) : "none";
}

template<typename Change>
std::string refusal(DSStore& store, Change change) {
    const DSStore before = store;
    try {
        change();
        return "nothing";
    } catch (const DSStore::Error& error) {
        EXPECT_EQ(store, before);
        return error.description();
    }
}

TEST(IconPositions, arePackedInSixteenBytes) {
    DSStore store;
    store.setIconPosition("Demo.app", 150, 4294967295);
    EXPECT_EQ(payload(store, "Demo.app", Type::iconLocation), "00000096ffffffffffffffffffff0000");
    EXPECT_EQ(store.iconPosition("Demo.app"), (IconPosition{150, 4294967295}));
    EXPECT_EQ(store.iconPosition("Other.app"), std::nullopt);
}

TEST(IconPositions, refuseWhatDoesNotFit) {
    DSStore store;
    store.setIconPosition("a", 1, 1);
    for (const auto& [x, y] :
         {std::pair<std::int64_t, std::int64_t>{-1, 0}, {0, -1}, {4294967296, 0}, {0, INT64_MAX}})
        EXPECT_EQ(refusal(store, [&, x = x, y = y] { store.setIconPosition("a", x, y); }),
                  "Write failed: Icon position values are outside the supported range for a");
    EXPECT_EQ(refusal(store,
                      [&] {
                          store.setIconPositions({{"b", 1, 2}, {"c", -1, 2}});
                      }),
              "Write failed: Icon position values are outside the supported range for c");
    store.setIconPositions(std::map<std::string, IconPosition>{{"b", {1, 2}}, {"c", {3, 4}}});
    EXPECT_EQ(store.iconPosition("c"), (IconPosition{3, 4}));
}

TEST(IconPositions, readAnyDataOfEightBytesOrMore) {
    for (const auto& [size, found] : {std::pair{7u, false}, {8u, true}, {40u, true}}) {
        const Record record{"a", Type::iconLocation, Value{Bytes(size, 1)}};
        EXPECT_EQ(record.iconPosition().has_value(), found) << size;
    }
    EXPECT_FALSE((Record{"a", Type::iconLocation, Value{std::string("12345678")}}).iconPosition());
    EXPECT_FALSE((Record{"a", Type::info, Value{Bytes(8, 1)}}).iconPosition());
}

TEST(WindowBounds, arePackedInSixteenBytes) {
    DSStore store;
    store.setWindowBounds({.top = 1, .left = 2, .bottom = 65535, .right = 4, .viewStyle = FourCC("Nlsv")});
    EXPECT_EQ(payload(store, ".", Type::finderWindowInfo), "00010002ffff00044e6c737600000000");
    const WindowBounds bounds = store.windowBounds().value();
    EXPECT_EQ(bounds, (WindowBounds{1, 2, 65535, 4, FourCC("Nlsv")}));
    EXPECT_EQ(bounds.width(), 2);
    EXPECT_EQ(bounds.height(), 65534);
    EXPECT_EQ(refusal(store, [&] { store.setWindowBounds({.right = 65536}); }),
              "Write failed: Window bounds values are outside the supported range");
    EXPECT_EQ(refusal(store, [&] { store.setWindowBounds({.top = -1}); }),
              "Write failed: Window bounds values are outside the supported range");
    EXPECT_FALSE((Record{".", Type::finderWindowInfo, Value{Bytes(11)}}).windowBounds());
}

TEST(Background, isPackedByKind) {
    DSStore store;
    EXPECT_EQ(store.background(), std::nullopt);
    const std::pair<BackgroundType, const char*> kinds[] = {
        {DefaultBackground{}, "446566420000000000000000"},
        {ColorBackground{0x0102, 0x0304, 0x0506}, "436c72420102030405060000"},
        {PictureBackground{}, "506374420000000000000000"}};
    for (const auto& [background, bytes] : kinds) {
        store.setBackground(background);
        EXPECT_EQ(payload(store, ".", Type::background), bytes);
        EXPECT_EQ(store.background(), background);
    }
    for (const char* damaged : {"Def", "what", "ClrB12345"})
        EXPECT_FALSE((Record{".", Type::background, Value{copyBytes(damaged)}}).backgroundType()) << damaged;
}

TEST(Background, withAPictureNeverHasABookmarkBeside) {
    const Type bookmark{FourCC("pBBk")};
    DSStore store({{".", bookmark, Value{Bookmark{{1, 2, 3}}}}, {"a", bookmark, Value{Bookmark{{4}}}}});
    store.setBackgroundPicture({1, 2, 3, 4, 5});
    EXPECT_EQ(payload(store, ".", Type::background), "506374420000000500000000");
    EXPECT_EQ(store.backgroundPictureAliasData(), (Bytes{1, 2, 3, 4, 5}));
    EXPECT_EQ(store.record(".", bookmark), nullptr);
    EXPECT_NE(store.record("a", bookmark), nullptr);
}

TEST(ViewStyle, goesByCode) {
    DSStore store;
    std::string codes;
    for (const ViewStyle style : {ViewStyle::icon, ViewStyle::list, ViewStyle::column, ViewStyle::gallery}) {
        store.setViewStyle(style);
        codes += store.viewStyle()->stringValue() + " ";
        EXPECT_EQ(store.viewStyleValue(), style);
    }
    for (const ViewSort sort : {ViewSort::none, ViewSort::name, ViewSort::kind, ViewSort::dateModified,
                                ViewSort::dateCreated, ViewSort::size, ViewSort::label}) {
        store.setViewSort(sort);
        codes += store.viewSort()->stringValue() + " ";
        EXPECT_EQ(store.viewSortValue(), sort);
    }
    EXPECT_EQ(codes, "icnv Nlsv clmv Flwv none name kind modd crea size labl ");
    store.setViewStyle(FourCC("what"));
    EXPECT_EQ(store.viewStyle(), FourCC("what"));
    EXPECT_EQ(store.viewStyleValue(), std::nullopt);
    store.add({".", Type::viewSortVersion, Value{std::uint32_t(1)}}); // what the Finder writes there
    EXPECT_EQ(store.viewSort(), std::nullopt);
}

TEST(Frames, areFourNumbers) {
    const struct {
        const char* text;
        std::optional<WindowFrame> frame;
    } cases[] = {{"{{200, 120}, {600, 400}}", WindowFrame{200, 120, 600, 400}},
                 {"{{-0.5,1e2},{.25,4}}", WindowFrame{-0.5, 100, 0.25, 4}},
                 {"1 2 3 4 5", WindowFrame{1, 2, 3, 4}},
                 {"{{1, 2}, {3}}", std::nullopt},
                 {"{{1, 2}, {3, inf}}", std::nullopt}};
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        EXPECT_EQ(WindowFrame::parse(row.text), row.frame);
    }
}

TEST(Frames, areSpelledWithFifteenDigits) {
    EXPECT_EQ((WindowFrame{200, 120.5, 1.0 / 3, 1e20}).stringValue(),
              "{{200, 120.5}, {0.333333333333333, 1e+20}}");
    WindowSettings settings;
    settings.setWindowBoundsValue(WindowFrame{1, 2, 3, 4});
    EXPECT_EQ(settings.windowBounds, "{{1, 2}, {3, 4}}");
    EXPECT_EQ(settings.windowBoundsValue(), (WindowFrame{1, 2, 3, 4}));
    settings.setWindowBoundsValue(std::nullopt);
    EXPECT_EQ(settings.windowBoundsValue(), std::nullopt);
}

TEST(Settings, surviveAFile) {
    const WindowSettings window{"{{1, 2}, {3, 4}}", 169.5,     false, true, true, false, "icnv",
                                "file:///",         {"a", "b"}};
    const IconViewSettings icons{true, false, true, 1, -1, 0.5, 0, 12, 96, 100, 1, "none", 1, 1, 0.5, 0};
    const ListViewSettings list{
        true, false, true, 1,      2,
        12,   16,    1,    "name", PlistValue(PropertyListDictionary{{"name", PropertyListArray{true}}})};
    DSStore store;
    store.setWindowSettings(window);
    store.setIconViewSettings(icons);
    store.setListViewSettings(list, Type::listViewPropertiesAlternate);
    const DSStore read = DSStore::read(store.serialize());
    EXPECT_EQ(read.windowSettings(), window);
    EXPECT_EQ(read.iconViewSettings(), icons);
    EXPECT_EQ(read.listViewSettings(Type::listViewPropertiesAlternate), list);
    EXPECT_EQ(read.listViewSettings(Type::listViewProperties), std::nullopt);
}

TEST(Settings, keepEntriesThatNoFieldNames) {
    DSStore store({{".", Type::iconViewProperties,
                    Value{PlistValue(PropertyListDictionary{
                        {"backgroundImageAlias", Bytes{1, 2}}, {"iconSize", 64}, {"textSize", "large"}})}}});
    IconViewSettings settings = store.iconViewSettings().value();
    settings.iconSize = 96;
    settings.textSize = 12;
    store.setIconViewSettings(settings);
    EXPECT_EQ(*store.record(".", Type::iconViewProperties)->value.as<PlistValue>(),
              PlistValue(PropertyListDictionary{
                  {"backgroundImageAlias", Bytes{1, 2}}, {"iconSize", 96}, {"textSize", 12}}));
}

TEST(Settings, leaveOutWhatIsAbsent) {
    EXPECT_TRUE(WindowSettings().dictionary().empty());
    EXPECT_EQ(WindowSettings{.showPathBar = true}.dictionary(),
              (PropertyListDictionary{{"ShowPathbar", true}}));
}

TEST(Settings, passOverValuesOfAnotherKind) {
    const auto settings = IconViewSettings::fromDictionary({{"iconSize", 64.0},
                                                            {"textSize", 12.5},
                                                            {"gridSpacing", std::int64_t(54)},
                                                            {"viewOptionsVersion", 1e300},
                                                            {"showItemInfo", std::int64_t(1)},
                                                            {"arrangeBy", false},
                                                            {"unknown", "x"}});
    const PropertyListDictionary others{{"textSize", 12.5},
                                        {"viewOptionsVersion", 1e300},
                                        {"showItemInfo", std::int64_t(1)},
                                        {"arrangeBy", false},
                                        {"unknown", "x"}};
    EXPECT_EQ(settings, (IconViewSettings{.iconSize = 64, .gridSpacing = 54, .others = others}));
    EXPECT_TRUE(WindowSettings::fromDictionary({{"TargetPath", PropertyListArray{"a", std::int64_t(1)}}})
                    .targetPath.empty());
    const DSStore text({{".", Type::iconViewProperties, Value{std::string("x")}},
                        {".", Type::browserWindowSettings, Value{PlistValue("x")}}});
    EXPECT_EQ(text.iconViewSettings(), std::nullopt);
    EXPECT_EQ(text.windowSettings(), std::nullopt);
}

} // namespace
} // namespace halvo
