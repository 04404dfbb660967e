#include <HalvoCore/AppcastReleaseRepository.h>
#include <HalvoCore/AppcastReleaseUploader.h>

#include <Support/CaseName.h>
#include <Support/DemoApp.h>
#include <Support/FakeClock.h>
#include <Support/MemoryAppcastStorage.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::MemoryAppcastStorage;
using testing::ElementsAre;

const std::string signature(88, 'A');

class AppcastReleaseUploaderTest : public testing::Test {
protected:
    UploadResult upload(const ReleaseConfiguration& configuration = {}) {
        const LocalApp app{.name = info.name,
                           .storage = {S3Configuration{.bucket = "b",
                                                       .pathPrefix = "apps",
                                                       .publicBaseURL = MemoryAppcastStorage::baseURL(),
                                                       .appcastPath = "appcast.xml"}}};
        return AppcastReleaseUploader({app}, storage, MemoryAppcastStorage::baseURL(), true, clock)
            .upload(file, info, signature, configuration);
    }
    std::vector<Release> listed() {
        return AppcastReleaseRepository("Demo", storage, MemoryAppcastStorage::baseURL(), clock).list();
    }

    test::TemporaryFolder folder;
    std::filesystem::path file = folder.write("x.zip", "12345");
    BundleInfo info = test::demoInfo();
    test::FakeClock clock;
    MemoryAppcastStorage storage;
};

TEST_F(AppcastReleaseUploaderTest, writesTheFileFirstAndTheFeedLast) {
    const UploadResult result =
        upload({.releaseNotes = "*New*", .isPhasedRollout = true, .isCritical = true});
    EXPECT_THAT(storage.calls,
                ElementsAre("upload Demo-1.2.3-42.zip as application/zip",
                            "copy Demo-1.2.3-42.zip to Demo.zip", "download feed", "upload feed"));
    EXPECT_EQ(result.downloadURL.absoluteString(), "https://dl.example.com/apps/Demo-1.2.3-42.zip");
    EXPECT_EQ(result.fileSize, 5);
    EXPECT_EQ(result.app.downloadURL(), URL::parse("https://dl.example.com/apps/Demo.zip"));
    Release expected{.id = result.release.id,
                     .title = "1.2.3 (42)",
                     .bundleVersion = 42,
                     .bundleVersionString = "1.2.3",
                     .releaseNotes = "*New*",
                     .minimumSystemVersion = "13.0",
                     .fileSize = 5,
                     .downloadURL = result.downloadURL,
                     .isPhasedRollout = true,
                     .isCritical = true,
                     .isPublished = true,
                     .createdAt = clock.now()};
    EXPECT_EQ(result.release, expected);

    const std::vector<Release> inFeed = listed();
    ASSERT_EQ(inFeed.size(), 1U);
    EXPECT_THAT(inFeed[0].releaseNotes, testing::HasSubstr("<em>New</em>"));
    expected.id = inFeed[0].id;
    expected.releaseNotes = inFeed[0].releaseNotes;
    EXPECT_EQ(inFeed[0], expected);
    EXPECT_THAT(*storage.feed, testing::HasSubstr("Demo-1.2.3-42.zip?v="));
    EXPECT_THAT(*storage.feed, testing::HasSubstr(signature));
}

TEST_F(AppcastReleaseUploaderTest, replacesAnEntryOfTheSameBuild) {
    upload({.releaseNotes = "first"});
    upload({.releaseNotes = "second"});
    ASSERT_EQ(listed().size(), 1U);
    EXPECT_THAT(listed()[0].releaseNotes, testing::HasSubstr("second"));
}

TEST_F(AppcastReleaseUploaderTest, onlyThePublishedDefaultChannelHasALatestCopy) {
    const ReleaseConfiguration draft{.isPublished = false};
    const ReleaseConfiguration beta{.channel = "beta"};
    for (const auto& configuration : {draft, beta}) {
        storage.calls.clear();
        EXPECT_EQ(upload(configuration).app.downloadURL(), std::nullopt); // no such copy was ever made
        EXPECT_THAT(storage.calls, testing::Not(testing::Contains(testing::StartsWith("copy "))));
    }
    upload();
    info.version = 43;
    EXPECT_EQ(upload(beta).app.downloadURL(), URL::parse("https://dl.example.com/apps/Demo.zip"));
}

struct FileNameRow {
    const char* name;
    const char* appName;
    const char* versionString;
    const char* file;
    std::vector<std::string> calls;
};

class UploadedNames : public AppcastReleaseUploaderTest, public testing::WithParamInterface<FileNameRow> {};

TEST_P(UploadedNames, areSafeAsKeys) {
    info.name = GetParam().appName;
    info.versionString = GetParam().versionString;
    file = folder.write(GetParam().file, "12345");
    upload();
    storage.calls.resize(2);
    EXPECT_EQ(storage.calls, GetParam().calls);
}

INSTANTIATE_TEST_SUITE_P(
    AppcastReleaseUploader, UploadedNames,
    testing::Values(FileNameRow{"diskImage",
                                "Demo",
                                "1.0",
                                "a.dmg",
                                {"upload Demo-1.0-42.dmg as application/x-apple-diskimage",
                                 "copy Demo-1.0-42.dmg to Demo.dmg"}},
                    FileNameRow{"blanksAndSigns",
                                "My App + Co?",
                                "1.0 (beta)",
                                "a.zip",
                                {"upload My App + Co?-1.0 (beta)-42.zip as application/zip",
                                 "copy My App + Co?-1.0 (beta)-42.zip to My App + Co?.zip"}},
                    FileNameRow{
                        "slashesAndDots",
                        "../a/b",
                        "1/2",
                        "a.zip",
                        {"upload -a-b-1-2-42.zip as application/zip", "copy -a-b-1-2-42.zip to -a-b.zip"}},
                    FileNameRow{"decomposed",
                                "Cafe\u0301",
                                "1",
                                "a.zip",
                                {"upload Caf\u00e9-1-42.zip as application/zip",
                                 "copy Caf\u00e9-1-42.zip to Caf\u00e9.zip"}}),
    test::CaseName());

TEST_F(AppcastReleaseUploaderTest, aFailureAtAnyStepLeavesTheFeedAsItWas) {
    upload();
    const std::string before = *storage.feed;
    info.version = 43;
    std::size_t made = 0;
    for (const char* step : {"upload Demo", "copy", "download", "upload feed"}) {
        SCOPED_TRACE(step);
        storage.calls.clear();
        storage.failingAt = step;
        EXPECT_THROW(upload(), AppcastStorageError);
        EXPECT_EQ(storage.calls.size(), ++made); // nothing is tried behind the failure
        EXPECT_EQ(storage.feed, before);
    }
}

TEST_F(AppcastReleaseUploaderTest, aFeedThatCannotBeEditedIsNotReplaced) {
    for (const char* damaged : {"", "<rss", "<rss><notAChannel/></rss>", "not xml"}) {
        SCOPED_TRACE(damaged);
        storage.feed = damaged;
        EXPECT_THROW(upload(), Failure);
        EXPECT_EQ(storage.feed, damaged);
    }
}

} // namespace
} // namespace halvo
