#include <HalvoDMG/DSStoreWriter.h>

#include <Support/FakeClock.h>
#include <Support/StoreChecker.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestData.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::StoredRecord;

PropertyListDictionary dictionary(const test::StoredFile& file, const char* type) {
    for (const StoredRecord& record : file.records)
        if (record.type == type)
            return *PropertyList::parse(record.payload).as<PropertyListDictionary>();
    throw std::runtime_error("no such record");
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

/// The file on record, which other programs have read, has a background. One without it differs in the icon
/// view.
class WritingLayout : public testing::Test {
protected:
    test::TemporaryFolder folder;
    test::FakeClock clock;
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
    PropertyListDictionary expected = dictionary(test::checkStore(file), "icvp");
    EXPECT_EQ(expected.size(), 17u);
    expected.erase("backgroundImageAlias");
    expected.insert_or_assign("backgroundType", std::int64_t(0));
    EXPECT_EQ(dictionary(test::checkStore(finderLayout({}, "Demo.app", {}).serialize()), "icvp"), expected);
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
