#include <HalvoCore/AppcastReleaseRepository.h>

#include <HalvoCore/DeterministicUUID.h>

#include <Appcast/AppcastEditorError.h>
#include <Support/CaseName.h>
#include <Support/FakeClock.h>
#include <Support/MemoryAppcastStorage.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::MemoryAppcastStorage;
using testing::ElementsAre;
using testing::HasSubstr;

std::string item(int version, const std::string& shortVersion, const std::string& url) {
    return "<item><title>Demo " + shortVersion +
           "</title><pubDate>Sun, 22 Nov 2026 09:30:00 +0000</pubDate>" +
           "<description><![CDATA[<p>old &amp; <b>good</b></p>\n]]></description><sparkle:version>" +
           std::to_string(version) + "</sparkle:version><sparkle:shortVersionString>" + shortVersion +
           "</sparkle:shortVersionString><sparkle:minimumSystemVersion>13.0</sparkle:minimumSystemVersion>" +
           "<enclosure url=\"" + url + "\" length=\"10\" type=\"application/zip\" sparkle:edSignature=\"" +
           std::string(86, 'A') + "==\"/></item>";
}

class AppcastReleaseRepositoryTest : public testing::Test {
protected:
    AppcastReleaseRepositoryTest() {
        storage.feed = "<rss version=\"2.0\" "
                       "xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\"><channel>"
                       "<title>Demo</title>" +
                       item(42, "1.2.3", "https://dl.example.com/apps/Demo%20App-1.zip?v=1") +
                       item(41, "1.2.2", "https://elsewhere.example.com/Demo.zip") + "</channel></rss>";
    }

    test::FakeClock clock;
    MemoryAppcastStorage storage;
    AppcastReleaseRepository repository{"Demo", storage, MemoryAppcastStorage::baseURL(), clock};
};

TEST(DeterministicUUID, agreesWithAnotherImplementation) { // the values are those of Python's uuid.uuid5
    const UUID dns = *UUID::parse("6ba7b810-9dad-11d1-80b4-00c04fd430c8");
    EXPECT_EQ(DeterministicUUID::v5(dns, "www.example.com").string(), "2ED6657D-E927-568B-95E1-2665A8AEA6A2");
    EXPECT_EQ(DeterministicUUID::v5(dns, "b\u00fccher.example").string(),
              "849D4D8F-6C8E-59FA-9721-89CCBA396BF9");
    EXPECT_EQ(appcastReleaseID(42, "1.2.3").string(), "A596EF74-5AF6-5E31-83BD-3DC7DCD08E29");
    EXPECT_EQ(appcastReleaseID(42, "1.2.4").string(), "F83CC295-CE61-59D3-957A-83BAD02B6ACA");
}

TEST_F(AppcastReleaseRepositoryTest, listsInFeedOrderWithTheSameIDsEveryTime) {
    const auto releases = repository.list();
    ASSERT_EQ(releases.size(), 2U);
    EXPECT_EQ(releases[0].id, appcastReleaseID(42, "1.2.3"));
    EXPECT_EQ(releases[0].title, "Demo 1.2.3");
    EXPECT_EQ(releases[0].fileSize, 10);
    EXPECT_EQ(releases[0].downloadURL, URL::parse("https://dl.example.com/apps/Demo%20App-1.zip"));
    EXPECT_TRUE(releases[0].isPublished);
    EXPECT_EQ(releases[1].bundleVersion, 41);
    EXPECT_EQ(repository.list(), releases);
}

TEST_F(AppcastReleaseRepositoryTest, withoutAFeedThereIsNothing) {
    const Release release = repository.list().front();
    storage.feed.reset();
    EXPECT_TRUE(repository.list().empty());
    for (const bool updates : {true, false}) {
        try {
            updates ? static_cast<void>(repository.update(release)) : repository.remove(release);
            ADD_FAILURE() << "found a release";
        } catch (const ReleaseRepositoryError& error) {
            EXPECT_STREQ(error.what(), "Release not found: 1.2.3 (42)");
        }
    }
    EXPECT_EQ(storage.feed, std::nullopt);
}

TEST_F(AppcastReleaseRepositoryTest, updateChangesWhatCanBeEditedAndNothingElse) {
    Release release = repository.list()[1];
    release.title = "Renamed";
    release.channel = "beta";
    release.isCritical = true;
    release.isPublished = false;
    release.fileSize = 999; // neither this nor the next can be edited
    release.downloadURL = URL::parse("https://x/y.zip");
    EXPECT_EQ(repository.update(release), release);

    // Byte for byte: the notes are HTML already and must not be taken for Markdown.
    EXPECT_THAT(*storage.feed, HasSubstr("<![CDATA[<p>old &amp; <b>good</b></p>\n]]>"));
    EXPECT_THAT(*storage.feed, HasSubstr(std::string(86, 'A') + "=="));
    const auto releases = repository.list();
    ASSERT_EQ(releases.size(), 2U);
    const auto edited = std::find_if(releases.begin(), releases.end(),
                                     [](const Release& one) { return one.bundleVersion == 41; });
    Release expected = release;
    expected.fileSize = 10;
    expected.downloadURL = URL::parse("https://elsewhere.example.com/Demo.zip");
    EXPECT_EQ(*edited, expected);
    EXPECT_THAT(storage.calls, testing::Not(testing::Contains(testing::StartsWith("copy"))));
}

TEST_F(AppcastReleaseRepositoryTest, newNotesAreMarkdown) {
    Release release = repository.list()[0];
    release.releaseNotes = "**fixed**";
    repository.update(release);
    EXPECT_THAT(repository.list()[0].releaseNotes, HasSubstr("<strong>fixed</strong>"));
}

TEST_F(AppcastReleaseRepositoryTest, anEntryIsFoundByBothOfItsVersions) {
    const std::string before = *storage.feed;
    Release other = repository.list()[0];
    other.bundleVersionString = "1.2.4";
    EXPECT_THROW(repository.update(other), ReleaseRepositoryError);
    EXPECT_THROW(repository.remove(other), AppcastEditorError);
    EXPECT_EQ(storage.feed, before);
}

TEST_F(AppcastReleaseRepositoryTest, deleteTakesTheEntryOutBeforeTheFile) {
    const auto releases = repository.list();
    storage.calls.clear();
    repository.remove(releases[0]);
    EXPECT_THAT(storage.calls, ElementsAre("download feed", "upload feed", "delete apps/Demo App-1.zip"));
    storage.calls.clear();
    repository.remove(releases[1]); // its file is not in this storage
    EXPECT_THAT(storage.calls, ElementsAre("download feed", "upload feed"));
    EXPECT_TRUE(repository.list().empty());
}

TEST_F(AppcastReleaseRepositoryTest, aFailedDeleteNeverLeavesAnEntryWithoutItsFile) {
    const Release release = repository.list()[0];
    const std::string before = *storage.feed;
    for (const char* step : {"download feed", "upload feed"}) {
        storage.calls.clear();
        storage.failingAt = step;
        EXPECT_THROW(repository.remove(release), AppcastStorageError);
        EXPECT_EQ(storage.feed, before);
        EXPECT_THAT(storage.calls, testing::Not(testing::Contains(testing::StartsWith("delete"))));
    }
    storage.failingAt = "delete";
    EXPECT_THROW(repository.remove(release), AppcastStorageError);
    storage.failingAt.clear();
    EXPECT_EQ(repository.list().size(), 1U);
}

struct KeyRow {
    const char* name;
    const char* base;
    const char* url;
    std::optional<std::string> key;
};

class BinaryKey : public testing::TestWithParam<KeyRow> {};

TEST_P(BinaryKey, isWhatStandsBehindThePublicAddress) {
    test::FakeClock clock;
    MemoryAppcastStorage storage;
    const AppcastReleaseRepository repository("Demo", storage, *URL::parse(GetParam().base), clock);
    EXPECT_EQ(repository.extractBinaryKey(*URL::parse(GetParam().url)), GetParam().key);
}

INSTANTIATE_TEST_SUITE_P(
    AppcastReleaseRepository, BinaryKey,
    testing::Values(KeyRow{"plain", "https://x.example", "https://x.example/a.zip", "a.zip"},
                    KeyRow{"withPrefix", "https://x.example", "https://x.example/p/q/a.zip", "p/q/a.zip"},
                    KeyRow{"baseWithPath", "https://x.example/pub", "https://x.example/pub/a.zip", "a.zip"},
                    KeyRow{"baseWithSlash", "https://x.example/", "https://x.example/a.zip", "a.zip"},
                    KeyRow{"cacheBuster", "https://x.example", "https://x.example/a.dmg?v=1&w=2?3", "a.dmg"},
                    KeyRow{"decoded", "https://x.example", "https://x.example/My%20App%2B1.zip",
                           "My App+1.zip"},
                    KeyRow{"otherHost", "https://x.example", "https://y.example/a.zip", std::nullopt},
                    KeyRow{"otherScheme", "https://x.example", "http://x.example/a.zip", std::nullopt},
                    KeyRow{"longerHost", "https://x.example", "https://x.example.net/a.zip", std::nullopt},
                    KeyRow{"longerFolder", "https://x.example/a", "https://x.example/ab/a.zip", std::nullopt},
                    KeyRow{"nothingBehindIt", "https://x.example", "https://x.example/?v=1", std::nullopt},
                    KeyRow{"fileURL", "https://x.example", "file:///tmp/feed/a%20b.zip", "a b.zip"}),
    test::CaseName());

} // namespace
} // namespace halvo
