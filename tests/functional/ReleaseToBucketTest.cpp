#include "ReleaseFixture.h"

#include <Base/URL.h>
#include <Support/CaseName.h>

namespace halvo::test {
namespace {

using nlohmann::json;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

/// Releases to an empty bucket of a real S3 store, whose contents are read back without the program.
class ReleaseToBucket : public ReleaseTest {
protected:
    ReleaseToBucket() { useStore(); }

    Outcome releaseVersion(const std::string& version, const std::string& build, Arguments options = {}) {
        AppBundle::ofVersion(version, build).writeTo(work);
        options.insert(options.begin(), {"Demo.app", "--skip-notarization"});
        const Outcome outcome = release(options);
        EXPECT_EQ(outcome.status, 0) << outcome.output << outcome.error;
        return outcome;
    }

    /// The item stands for an object of the bucket: its length, its address, and a signature that openssl
    /// accepts.
    void expectItemOf(const json& item, const std::string& objectKey) {
        const std::string content = object(objectKey).value();
        EXPECT_EQ(item.at("length"), std::to_string(content.size()));
        const std::string address = "https://dl.example.com/files/" + percentEncoded(objectKey, "/") + "?v=";
        const std::string url = item.at("url");
        EXPECT_THAT(url, StartsWith(address));
        EXPECT_THAT(url.substr(std::min(url.size(), address.size())), MatchesRegex("[0-9]+"));
        EXPECT_TRUE(opensslVerifies(folder.write("object", content), item.at("sparkle:edSignature"), key));
    }

    std::vector<std::string> feedVersions() {
        std::vector<std::string> versions;
        for (const json& item : feedItems())
            versions.push_back(item.at("sparkle:version"));
        return versions;
    }
};

TEST_F(ReleaseToBucket, putsTheNewestVersionFirstAndIntoTheLatestCopy) {
    releaseVersion("1.2", "7", {"--release-notes", "First **words** & more"});
    const json first = feedItems();
    ASSERT_EQ(first.size(), 1U);
    EXPECT_EQ(first[0].at("title"), "1.2 (7)");
    EXPECT_EQ(first[0].at("sparkle:version"), "7");
    EXPECT_EQ(first[0].at("sparkle:shortVersionString"), "1.2");
    EXPECT_EQ(first[0].at("sparkle:minimumSystemVersion"), "13.0");
    EXPECT_THAT(first[0].at("description").get<std::string>(),
                HasSubstr("First <strong>words</strong> &amp; more"));
    for (const char* absent : {"sparkle:channel", "sparkle:criticalUpdate", "sparkle:phasedRolloutInterval"})
        EXPECT_FALSE(first[0].contains(absent)) << absent;
    expectItemOf(first[0], "Demo-1.2-7.zip");
    EXPECT_EQ(object("Demo.zip"), object("Demo-1.2-7.zip"));
    script("xmllint --noout ../feed.xml");

    releaseVersion("1.3", "8");
    EXPECT_THAT(feedVersions(), ElementsAre("8", "7"));
    const json both = feedItems();
    expectItemOf(both[0], "Demo-1.3-8.zip");
    EXPECT_EQ(both[1], first[0]);
    EXPECT_EQ(object("Demo.zip"), object("Demo-1.3-8.zip"));
    EXPECT_NE(object("Demo.zip"), object("Demo-1.2-7.zip"));

    releaseVersion("1.3.1", "8");
    EXPECT_THAT(feedVersions(), ElementsAre("8", "7"));
    EXPECT_EQ(feedItems()[0].at("sparkle:shortVersionString"), "1.3.1");
}

TEST_F(ReleaseToBucket, keepsBetasAndDraftsFromTheLatestCopy) {
    releaseVersion("1.2", "7");
    const auto latest = object("Demo.zip");
    const Outcome beta = releaseVersion("2.0", "8", {"--beta"});
    EXPECT_THAT(beta.error, StartsWith("warning: --beta is deprecated; use --channel beta instead.\n"));
    releaseVersion("2.1", "9", {"--draft"});
    releaseVersion("2.2", "10", {"--draft", "--channel", "nightly"});
    EXPECT_EQ(object("Demo.zip"), latest);

    const json items = feedItems();
    ASSERT_EQ(items.size(), 4U);
    EXPECT_EQ(items[2].at("sparkle:channel"), "beta");
    EXPECT_FALSE(items[2].contains("halvoChannel"));
    EXPECT_EQ(items[1].at("sparkle:channel"), "unreleased");
    EXPECT_FALSE(items[1].contains("halvoChannel"));
    EXPECT_EQ(items[0].at("sparkle:channel"), "unreleased");
    EXPECT_EQ(items[0].at("halvoChannel"), "nightly");
    for (std::size_t index = 0; index < 3; ++index)
        expectItemOf(items[index], std::vector{"Demo-2.2-10.zip", "Demo-2.1-9.zip", "Demo-2.0-8.zip"}[index]);
}

TEST_F(ReleaseToBucket, marksCriticalAndPhasedReleases) {
    releaseVersion("1.2", "7", {"--critical", "--phased-rollout"});
    EXPECT_TRUE(feedItems()[0].contains("sparkle:criticalUpdate"));
    EXPECT_EQ(feedItems()[0].at("sparkle:phasedRolloutInterval"), "86400");
}

TEST_F(ReleaseToBucket, reportsOneJSONDocument) {
    const Outcome outcome =
        releaseVersion("1.2", "7", {"--format", "json", "--channel", "beta", "--release-notes", "New"});
    EXPECT_THAT(outcome.output, EndsWith("}\n"));
    json result = json::parse(outcome.output);
    EXPECT_THAT(result["release"]["id"].get<std::string>(), MatchesRegex("[0-9A-F-]{36}"));
    EXPECT_THAT(result["release"]["createdAt"].get<std::string>(),
                MatchesRegex("[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z"));
    result["release"].erase("id");
    result["release"].erase("createdAt");
    result.erase("latestDownloadURL");
    EXPECT_EQ(result, json({{"app", {{"name", "Demo"}, {"bundleIdentifier", "com.example.demo"}}},
                            {"release",
                             {{"title", "1.2 (7)"},
                              {"bundleVersion", 7},
                              {"bundleVersionString", "1.2"},
                              {"releaseNotes", "New"},
                              {"minimumSystemVersion", "13.0"},
                              {"fileSize", object("Demo-1.2-7.zip").value().size()},
                              {"downloadURL", "https://dl.example.com/files/Demo-1.2-7.zip"},
                              {"channel", "beta"},
                              {"isPhasedRollout", false},
                              {"isCritical", false},
                              {"isPublished", true}}}}));
}

TEST_F(ReleaseToBucket, takesEveryNameBelowThePrefix) {
    variables["HALVO_S3_PATH_PREFIX"] = "apps/x";
    AppBundle app;
    app.info["CFBundleName"] = "Caf\u00e9 + 100% @\u00fcn\u00ef";
    app.writeTo(work);
    const Outcome outcome = release({"Demo.app", "--skip-notarization"});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    const json items = feedItems("apps/x/appcast.xml");
    ASSERT_EQ(items.size(), 1U);
    const std::string name = "apps/x/Caf\u00e9 + 100% @\u00fcn\u00ef";
    const std::string content = object(name + "-1.2-7.zip").value();
    EXPECT_EQ(object(name + ".zip"), content);
    const std::string url = items[0].at("url");
    const std::string path = url.substr(0, url.find('?'));
    EXPECT_EQ(percentDecoded(path), "https://dl.example.com/files/" + name + "-1.2-7.zip");
    EXPECT_EQ(object("appcast.xml"), std::nullopt);
}

TEST_F(ReleaseToBucket, deliversTheUsersArchiveByteForByte) {
    AppBundle().writeTo(work);
    script("zip -q -r -y -9 Mine.zip Demo.app");
    const std::string archive = readText(work / "Mine.zip");
    const Outcome outcome = release({"Mine.zip", "--skip-notarization"});
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(object("Demo-1.2-7.zip"), archive);
    EXPECT_EQ(readText(work / "Mine.zip"), archive);
    expectItemOf(feedItems()[0], "Demo-1.2-7.zip");
}

TEST_F(ReleaseToBucket, datesInEnglishInTheZoneOfTheUser) {
    variables["TZ"] = "Asia/Kolkata";
    variables["LC_ALL"] = "de_DE.UTF-8";
    releaseVersion("1.2", "7");
    EXPECT_THAT(feedItems()[0].at("pubDate").get<std::string>(),
                MatchesRegex("(Mon|Tue|Wed|Thu|Fri|Sat|Sun), [0-9]{2} "
                             "(Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) [0-9]{4} [0-9:]{8} \\+0530"));
}

TEST_F(ReleaseToBucket, refusesADamagedFeedAndLeavesIt) {
    const std::string bomb = "<?xml version=\"1.0\"?><!DOCTYPE rss [<!ENTITY a \"aaaaaaaaaa\">"
                             "<!ENTITY b \"&a;&a;&a;&a;&a;&a;&a;&a;\"><!ENTITY c \"&b;&b;&b;&b;&b;&b;&b;\">]>"
                             "<rss version=\"2.0\"><channel><title>&c;</title></channel></rss>";
    for (const std::string& feed : {std::string("<rss version=\"2.0\"><channel>"), bomb,
                                    std::string("<rss version=\"2.0\"></rss>"), std::string("no XML")}) {
        putObject("appcast.xml", feed);
        AppBundle().writeTo(work);
        const Outcome refused = release({"Demo.app", "--skip-notarization", "--format", "json"});
        EXPECT_EQ(refused.status, 1) << feed;
        EXPECT_EQ(json::parse(refused.output).at("code"), "release_failed");
        EXPECT_THAT(refused.output, HasSubstr("appcast")) << feed;
        EXPECT_EQ(object("appcast.xml"), feed);
    }
}

struct RefusalCase {
    const char* name;
    const char* variable;
    const char* value;
    const char* reason;
};

class RefusedByTheStore : public ReleaseToBucket, public testing::WithParamInterface<RefusalCase> {};

TEST_P(RefusedByTheStore, isFoundOutBeforeAnythingIsBuilt) {
    AppBundle().writeTo(work);
    secrets.push_back("some-other-secret");
    const Variables wrong{{GetParam().variable, GetParam().value}};
    const Outcome refused = release({"Demo.app", "--skip-notarization", "--format", "json"}, wrong);
    EXPECT_EQ(refused.status, 1);
    const json report = json::parse(refused.output);
    EXPECT_EQ(report.at("code"), "release_failed");
    EXPECT_THAT(report.at("message").get<std::string>(),
                StartsWith(std::string("Release failed: S3 download failed: ") + GetParam().reason));
    EXPECT_THAT(refused.error, testing::Not(HasSubstr("Preparing")));
    EXPECT_EQ(object("appcast.xml"), std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Release, RefusedByTheStore,
    testing::Values(RefusalCase{"wrongSecret", "AWS_SECRET_ACCESS_KEY", "some-other-secret",
                                "SignatureDoesNotMatch: "},
                    RefusalCase{"missingBucket", "HALVO_S3_BUCKET", "absent", "NoSuchBucket: "},
                    // Takes the seconds of five attempts.
                    RefusalCase{"nobodyListens", "HALVO_S3_ENDPOINT", "http://127.0.0.1:1",
                                "Could not connect to 127.0.0.1 port 1: Connection refused"}),
    CaseName());

} // namespace
} // namespace halvo::test
