#include "FakeVolumeFacts.h"

#include <HalvoDMG/DSStoreWriter.h>

#include <Support/StoreChecker.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestData.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::StoredRecord;

std::string icon(std::uint32_t x, std::uint32_t y) {
    char text[33];
    std::snprintf(text, sizeof(text), "%08x%08xffffffffffff0000", x, y);
    return text;
}

/// "filename type valueType payload", property lists by their length only.
std::vector<std::string> lines(const test::StoredFile& file) {
    std::vector<std::string> all;
    for (const StoredRecord& record : file.records) {
        const bool list = viewText(record.payload).starts_with("bplist00");
        all.push_back(record.filename + " " + record.type + " " + record.valueType + " " +
                      (list ? "list" : toHex(record.payload)));
    }
    return all;
}

PropertyListDictionary dictionary(const test::StoredFile& file, const char* type) {
    for (const StoredRecord& record : file.records)
        if (record.type == type)
            return *PropertyList::parse(record.payload).as<PropertyListDictionary>();
    throw std::runtime_error("no such record");
}

PropertyListDictionary iconView(std::int64_t backgroundType) {
    return {{"arrangeBy", "none"},
            {"backgroundColorBlue", 1.0},
            {"backgroundColorGreen", 1.0},
            {"backgroundColorRed", 1.0},
            {"gridOffsetX", 0.0},
            {"gridOffsetY", 0.0},
            {"gridSpacing", 100.0},
            {"iconSize", 100.0},
            {"labelOnBottom", true},
            {"scrollPositionX", 0.0},
            {"scrollPositionY", 0.0},
            {"showIconPreview", true},
            {"showItemInfo", false},
            {"textSize", 12.0},
            {"viewOptionsVersion", std::int64_t(1)},
            {"backgroundType", backgroundType}};
}

TEST(FinderLayout, holdsExactlyTheRecordsOfAWindow) {
    const test::StoredFile file = test::checkStore(finderLayout({}, "Demo.app", std::nullopt).serialize());
    EXPECT_THAT(lines(file),
                testing::ElementsAre(
                    ". bwsp blob list", ". icvl type 69636e76", ". icvp blob list", ". vSrn long 00000001",
                    ".background Iloc blob " + icon(300, 500), ".DS_Store Iloc blob " + icon(300, 900),
                    ".fseventsd Iloc blob " + icon(300, 700), ".Trashes Iloc blob " + icon(300, 800),
                    ".VolumeIcon.icns Iloc blob " + icon(300, 600),
                    "Applications Iloc blob " + icon(450, 174), "Demo.app Iloc blob " + icon(150, 174)));
    EXPECT_EQ(dictionary(file, "icvp"), iconView(0));
    EXPECT_EQ(dictionary(file, "bwsp"),
              (PropertyListDictionary{{"ContainerShowSidebar", false},
                                      {"PreviewPaneVisibility", false},
                                      {"ShowPathbar", false},
                                      {"ShowSidebar", false},
                                      {"ShowStatusBar", false},
                                      {"ShowTabView", false},
                                      {"ShowToolbar", false},
                                      {"SidebarWidth", std::int64_t(0)},
                                      {"WindowBounds", "{{200, 120}, {600, 400}}"}}));
}

TEST(FinderLayout, followsTheConfiguration) {
    const DMGConfiguration configuration{.windowWidth = 601,
                                         .windowHeight = 300,
                                         .windowX = -5,
                                         .windowY = 7,
                                         .iconSize = 64,
                                         .textSize = 10,
                                         .appIconX = 1,
                                         .appIconY = 2,
                                         .applicationsLinkX = 3,
                                         .applicationsLinkY = 4};
    const DSStore store = finderLayout(configuration, "Demo.app", std::nullopt);
    EXPECT_EQ(store.windowSettings()->windowBounds, "{{-5, 7}, {601, 300}}");
    EXPECT_EQ(store.iconViewSettings()->iconSize, 64);
    EXPECT_EQ(store.iconViewSettings()->textSize, 10);
    EXPECT_EQ(store.iconPosition("Demo.app"), (dsstore::IconPosition{1, 2}));
    EXPECT_EQ(store.iconPosition("Applications"), (dsstore::IconPosition{3, 4}));
    EXPECT_EQ(store.iconPosition(".background"), (dsstore::IconPosition{300, 364}));
    EXPECT_EQ(store.iconPosition(".DS_Store"), (dsstore::IconPosition{300, 620}));
}

TEST(FinderLayout, calculatesSafelyWithAnything) {
    for (const std::int64_t extreme : {INT64_MAX, INT64_MIN}) {
        EXPECT_THROW(finderLayout({.windowHeight = extreme}, "a", {}), DSStore::Error);
        EXPECT_THROW(finderLayout({.iconSize = extreme}, "a", {}), DSStore::Error);
        EXPECT_THROW(finderLayout({.windowWidth = extreme}, "a", {}), DSStore::Error);
    }
}

class WritingLayout : public testing::Test {
protected:
    test::TemporaryFolder folder;
    test::StoppedClock clock;
};

TEST_F(WritingLayout, withABackgroundIsTheFileOnRecord) {
    // Facts of a volume that is not there, so that the file is the same on every machine.
    const Date day = *parseISO8601("2026-01-02T03:04:05Z");
    const CarbonAlias alias{.volumeName = "Demo",
                            .volumeCreationDate = day,
                            .fileName = "background.tiff",
                            .fileCreationDate = day,
                            .parentID = 16,
                            .fileID = 17,
                            .pathInVolume = "/.background/background.tiff",
                            .mountPoint = "/Volumes/Demo"};
    const Bytes file = finderLayout({}, "Demo.app", alias.encode()).serialize();
    test::expectGolden("HalvoDMG/layout.DS_Store", viewText(file));
    PropertyListDictionary expected = iconView(2);
    expected.emplace("backgroundImageAlias", alias.encode());
    EXPECT_EQ(expected.size(), 17u);
    EXPECT_EQ(dictionary(test::checkStore(test::readTestData("HalvoDMG/layout.DS_Store")), "icvp"), expected);
}

TEST_F(WritingLayout, putsTheAliasOfTheRealFileInTheStore) {
    const std::filesystem::path mount = folder / "Demo";
    const std::filesystem::path picture = folder.write("Demo/.background/bg.tiff", "picture");
    const SystemVolumeFacts facts;
    DSStoreWriter(facts, clock).write(mount, "Demo.app", "bg.tiff", {});
    const test::StoredFile file = test::checkStore(copyBytes(test::readText(mount / ".DS_Store")));
    EXPECT_EQ(dictionary(file, "icvp").at("backgroundImageAlias"),
              PropertyList(AliasBuilder(facts, clock).makeFileAlias(mount, picture)));
    for (const StoredRecord& record : file.records)
        EXPECT_NE(record.type, "pBBk");
}

TEST_F(WritingLayout, failsWithItsOwnError) {
    const SystemVolumeFacts facts;
    const DSStoreWriter writer(facts, clock);
    const auto failure = [&](const std::filesystem::path& mount, std::optional<std::string> background,
                             const DMGConfiguration& configuration) -> std::string {
        try {
            writer.write(mount, "Demo.app", background, configuration);
            return "nothing";
        } catch (const DMGCreationError& error) {
            return error.description();
        }
    };
    EXPECT_EQ(
        failure(folder.path(), {}, {.appIconX = -1}),
        "Failed to write .DS_Store: Write failed: Icon position values are outside the supported range for "
        "Demo.app");
    EXPECT_THAT(failure(folder / "none", {}, {}),
                testing::StartsWith("Failed to write .DS_Store: Write failed: "));
    EXPECT_THAT(failure(folder.path(), "bg.tiff", {}),
                testing::StartsWith("Failed to build Carbon alias data: getattrlist(FILEID) on "));
    EXPECT_FALSE(std::filesystem::exists(folder / ".DS_Store"));
}

} // namespace
} // namespace halvo
