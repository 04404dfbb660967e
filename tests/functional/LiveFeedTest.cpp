#include "ReleaseFixture.h"

#include <Appcast/FeedSignature.h>
#include <Base/Base64.h>
#include <Base/Text.h>
#include <Ed25519/PrivateKey.h>
#include <Support/CaseName.h>
#include <Support/FaultServer.h>

namespace halvo::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using Conditions = ObjectServer::Conditions;

const std::string bundle = "com.example.demo";

/// A feed as other tools write it, with two forms of versions and twins.
std::string foreignFeed(const std::string& title = "Demo") {
    return R"(<?xml version='1.0' encoding="utf-8"?>
<rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle" xmlns:x="urn:x">
  <channel a='1'>
    <title>)" +
           title + R"(</title>
    <!-- kept -->
    <item>
      <title>Version 5.0</title>
      <description><![CDATA[<p>old</p>]]></description>
      <pubDate>Mon, 1 Jun 2026 09:30:00 +0000</pubDate>
      <sparkle:hardwareRequirements>arm64</sparkle:hardwareRequirements>
      <x:note>kept</x:note>
      <enclosure url="https://dl.example.com/files/a-50.zip?q=1" length="4" type="application/zip"
        sparkle:version="50" sparkle:shortVersionString="5.0" sparkle:edSignature="c2ln" sparkle:installationType="application"/>
      <sparkle:deltas><enclosure url="https://dl.example.com/files/50-49.delta" sparkle:deltaFrom="49" length="1"/></sparkle:deltas>
    </item>
    <item>
      <title>Twin</title>
      <pubDate>Mon, 1 Jun 2026 09:30:00 +0000</pubDate>
      <sparkle:version>49</sparkle:version><sparkle:shortVersionString>4.9</sparkle:shortVersionString>
      <enclosure url="https://dl.example.com/files/a-49.zip" length="4" sparkle:edSignature="c2ln"/>
    </item>
    <item>
      <title>Other twin</title>
      <pubDate>Mon, 1 Jun 2026 09:30:00 +0000</pubDate>
      <sparkle:version>49</sparkle:version><sparkle:shortVersionString>4.9</sparkle:shortVersionString>
      <enclosure url="https://dl.example.com/files/a-49.zip" length="4" sparkle:edSignature="c2ln"/>
    </item>
    <item><title>Old</title><enclosure url="old.zip" sparkle:version="7" sparkle:dsaSignature="x"/></item>
  </channel>
</rss>
)";
}

/// Releases to a bucket in memory, whose conditions and writers the test has in hand.
class LiveFeed : public ReleaseTest {
protected:
    LiveFeed() { useServer(server); }

    void useServer(const ObjectServer& other) {
        variables["HALVO_S3_BUCKET"] = "demo";
        variables["HALVO_S3_REGION"] = "us-east-1";
        variables["HALVO_S3_PUBLIC_URL"] = "https://dl.example.com/files";
        variables["HALVO_S3_ENDPOINT"] = other.url();
    }

    Outcome releaseApp(const AppBundle& app, Arguments options = {}) {
        app.writeTo(work);
        options.insert(options.begin(), {"Demo.app", "--skip-notarization"});
        return release(options);
    }
    Outcome releases(Arguments arguments) {
        arguments.insert(arguments.begin(), "releases");
        arguments.insert(arguments.end(), {"-b", bundle});
        return run(arguments, variables);
    }
    /// The identifiers of a version's rows in the list.
    std::vector<std::string> idsOf(const std::string& version) {
        std::vector<std::string> ids;
        for (const std::string& line : split(releases({"list"}).output, '\n'))
            if (line.starts_with(version + " "))
                ids.push_back(line.substr(line.size() - 36));
        return ids;
    }
    std::string feed() const { return server.object("appcast.xml").value_or(""); }

    /// Refused with that code, and the bucket is as it was.
    void expectRefused(const Outcome& refused, const std::string& code, const std::string& before) {
        EXPECT_EQ(refused.status, 1) << refused.output;
        EXPECT_EQ(json::parse(refused.output).at("code"), code) << refused.output;
        EXPECT_THAT(refused.error, Not(HasSubstr("Preparing")));
        EXPECT_EQ(feed(), before);
        EXPECT_THAT(server.keys(), SizeIs(before.empty() ? 0 : 1));
    }

    ObjectServer server{Conditions::kept};
};

/// Releases six builds at once and expects six items.
class Rivals : public LiveFeed, public testing::WithParamInterface<std::optional<Conditions>> {};

TEST_P(Rivals, loseNoItem) {
    std::optional<ObjectServer> other;
    if (GetParam())
        useServer(other.emplace(*GetParam()));
    else
        useStore();
    std::vector<std::unique_ptr<RunningProcess>> running;
    for (int build = 1; build <= 6; ++build) {
        const std::string number = std::to_string(build);
        AppBundle::ofVersion("1." + number, number).writeTo(work);
        script("cp -R Demo.app Copy$1 && mkdir at$1 && mv Copy$1 at$1/Demo.app", {number});
    }
    for (int build = 1; build <= 6; ++build)
        running.push_back(
            start(releaseArguments({"at" + std::to_string(build) + "/Demo.app", "--skip-notarization"}),
                  changed({})));
    mayLeaveTemporaryFiles = true; // while the others run
    for (const auto& process : running) {
        const Outcome outcome = finish(*process);
        EXPECT_EQ(outcome.status, 0) << outcome.output << outcome.error;
    }
    EXPECT_THAT(temporaryFiles(), testing::IsEmpty());
    const json items = other ? itemsOf(other->object("appcast.xml").value()) : feedItems();
    EXPECT_EQ(items.size(), 6U) << items.dump(1);
}

INSTANTIATE_TEST_SUITE_P(LiveFeed, Rivals,
                         testing::Values(std::nullopt, Conditions::kept, Conditions::unknown,
                                         Conditions::unknownWith400));

TEST_F(LiveFeed, isReadAgainWhenSomebodyElseWroteIt) {
    mayLeaveTemporaryFiles = true; // of the release that fails
    ASSERT_EQ(releaseApp(AppBundle::ofVersion("1.0", "1")).status, 0);
    int rivals = 0;
    server.beforeWriting("appcast.xml", [&] {
        if (++rivals <= 3)
            server.put("appcast.xml", replacingAll(feed(), "</channel>",
                                                   "<ttl>" + std::to_string(rivals) + "</ttl></channel>"));
    });
    EXPECT_EQ(releaseApp(AppBundle::ofVersion("2.0", "2")).status, 0);
    EXPECT_THAT(feed(), AllOf(HasSubstr(">1.0<"), HasSubstr(">2.0<"), HasSubstr("<ttl>3</ttl>")));
    server.beforeWriting("appcast.xml", [&] { server.put("appcast.xml", feed() + " "); });
    const Outcome busy = releaseApp(AppBundle::ofVersion("3.0", "3"), {"--format", "json"});
    EXPECT_EQ(json::parse(busy.output).at("code"), "feed_conflict");
    EXPECT_THAT(feed(), Not(HasSubstr(">3.0<")));
}

TEST_F(LiveFeed, isEditedWhereItStands) {
    server.put("appcast.xml", foreignFeed());
    for (const char* name : {"a-50.zip", "a-49.zip"})
        server.put(name, "file");
    const Outcome list = releases({"list"});
    EXPECT_THAT(list.error, HasSubstr("warning: Not shown, because it has no EdDSA signature: Old (1 item)"));
    const auto ids = idsOf("5.0 (50)");
    ASSERT_THAT(ids, SizeIs(1));

    EXPECT_EQ(releases({"update", ids[0], "--channel", "beta"}).status, 0);
    const std::string enclosure = "      <enclosure url=\"https://dl.example.com/files/a-50.zip";
    const std::string inBeta =
        replacingAll(foreignFeed(), enclosure, "      <sparkle:channel>beta</sparkle:channel>\n" + enclosure);
    EXPECT_EQ(feed(), inBeta);
    const std::size_t writes = server.writes("appcast.xml");
    EXPECT_EQ(releases({"update", ids[0], "--channel", "beta", "--critical", "false"}).status, 0);
    EXPECT_EQ(server.writes("appcast.xml"), writes);

    const auto twins = idsOf("4.9 (49)");
    ASSERT_THAT(twins, SizeIs(2));
    EXPECT_NE(twins[0], twins[1]);
    const Outcome deleted = releases({"delete", twins[1], "--yes"});
    EXPECT_EQ(deleted.status, 0) << deleted.output;
    EXPECT_THAT(deleted.error,
                HasSubstr("The file a-49.zip stays, since another item of the feed names it."));
    EXPECT_THAT(feed(), AllOf(HasSubstr("<title>Twin"), Not(HasSubstr("Other twin"))));
    EXPECT_TRUE(server.object("a-49.zip"));
    EXPECT_EQ(releases({"delete", idsOf("4.9 (49)")[0], "--yes"}).status, 0);
    EXPECT_FALSE(server.object("a-49.zip"));

    const Outcome next = releaseApp(AppBundle::ofVersion("5.1", "51"), {"--format", "json"});
    ASSERT_EQ(next.status, 0) << next.error;
    EXPECT_EQ(idsOf("5.1 (51)"), std::vector<std::string>{json::parse(next.output).at("release").at("id")});
    const std::string withNext = feed();
    const std::size_t start = withNext.find("    <item>\n      <title>5.1 (51)");
    ASSERT_NE(start, std::string::npos) << withNext;
    const std::size_t end = withNext.find("</item>\n", start) + 8;
    EXPECT_THAT(inBeta, StartsWith(withNext.substr(0, start)));
    EXPECT_THAT(inBeta, HasSubstr(withNext.substr(end, withNext.find("    <item><title>Old") - end)));
}

TEST_F(LiveFeed, isSignedAgainWithItsKeyAndNotEditedWithoutIt) {
    const PrivateKey signer(*decodeBase64(key.secret));
    const std::string content = foreignFeed();
    const std::string whole =
        withFeedSignature(content, encodeBase64(signer.signature(viewBytes(content))), "\n");
    const auto expectSigned = [&] {
        const std::string now = feed();
        const auto read = SignedFeed::read(now);
        ASSERT_TRUE(read);
        EXPECT_TRUE(opensslVerifies(folder.write("content", read->content), read->edSignature, key));
        EXPECT_EQ(read->afterBlock, "\n");
    };
    server.put("appcast.xml", whole);
    EXPECT_EQ(releaseApp(AppBundle::ofVersion("6.0", "60")).status, 0);
    EXPECT_NE(feed(), whole);
    expectSigned();
    EXPECT_EQ(releases({"update", idsOf("6.0 (60)").at(0), "--critical", "true"}).status, 0);
    expectSigned();
    EXPECT_EQ(releases({"delete", idsOf("6.0 (60)").at(0), "--yes"}).status, 0);
    expectSigned();

    ObjectServer untouched(Conditions::kept);
    useServer(untouched);
    untouched.put("appcast.xml", whole);
    variables["SPARKLE_PRIVATE_KEY"] = makeSigningKey('o').secret;
    const Outcome refused = releaseApp(AppBundle::ofVersion("6.0", "60"), {"--format", "json"});
    EXPECT_EQ(json::parse(refused.output).at("code"), "feed_signing_key_missing");
    EXPECT_THAT(releases({"update", idsOf("5.0 (50)").at(0), "--critical", "true"}).output,
                HasSubstr("every edit must be signed again"));
    EXPECT_EQ(untouched.object("appcast.xml"), whole);
    EXPECT_THAT(untouched.keys(), SizeIs(1));
}

TEST_F(LiveFeed, ofAnotherAppIsNotTouched) {
    const std::string others = foreignFeed("Somebody's App");
    server.put("appcast.xml", others);
    const Outcome refused = releaseApp(AppBundle(), {"--format", "json"});
    expectRefused(refused, "feed_of_another_app", others);
    EXPECT_THAT(refused.output, AllOf(HasSubstr("--s3-path-prefix"), HasSubstr("--s3-appcast-path"),
                                      HasSubstr("--adopt-feed")));
    EXPECT_EQ(releaseApp(AppBundle(), {"--s3-path-prefix", "/demo/"}).status, 0);
    EXPECT_TRUE(server.object("demo/appcast.xml"));
    EXPECT_EQ(releaseApp(AppBundle(), {"--adopt-feed"}).status, 0);
    EXPECT_EQ(releaseApp(AppBundle::ofVersion("9.0", "90")).status, 0); // an own item stands there now
    EXPECT_THAT(feed(), AllOf(HasSubstr(">9.0<"), HasSubstr("Somebody's App"), HasSubstr("Twin")));
}

TEST_F(LiveFeed, ofAnotherAppIsSeenBySetup) {
    server.put("appcast.xml", foreignFeed("Somebody's App"));
    AppBundle().writeTo(work);
    variables["HALVO_S3_PUBLIC_URL"] = server.url() + "/demo";
    const Outcome done = run({"setup", "Demo.app", "--hosting", "s3", "--s3-access-key-id", "id",
                              "--s3-secret-access-key", "a-secret-of-the-store", "--generate-sparkle-key"},
                             variables);
    EXPECT_THAT(done.output, HasSubstr("halvo config set s3 path-prefix demo -b com.example.demo"));
    EXPECT_THAT(done.output, HasSubstr("Setup complete!"));
}

TEST_F(LiveFeed, isNotPublishedToWithAKeyThatNobodyTrusts) {
    const std::string trusted = makeSigningKey('o').publicKey;
    AppBundle app;
    app.info["SUPublicEDKey"] = trusted;
    const Outcome refused = releaseApp(app, {"--format", "json"});
    expectRefused(refused, "sparkle_key_mismatch", "");
    EXPECT_THAT(refused.output, AllOf(HasSubstr(trusted), HasSubstr(key.publicKey)));
    app.info["SUPublicEDKey"] = key.publicKey;
    EXPECT_EQ(releaseApp(app).status, 0);
}

struct Warned {
    const char* name;
    const char* version;
    const char* build;
    Arguments options;
    std::string warning;
};

class WarnedRelease : public LiveFeed, public testing::WithParamInterface<Warned> {};

TEST_P(WarnedRelease, isDone) {
    server.put("appcast.xml", foreignFeed());
    AppBundle app = AppBundle::ofVersion(GetParam().version, GetParam().build);
    app.info["SUFeedURL"] = "https://elsewhere.example.com/feed.xml";
    const Outcome done = releaseApp(app, GetParam().options);
    EXPECT_EQ(done.status, 0) << done.output;
    EXPECT_THAT(done.error, HasSubstr("warning: " + GetParam().warning));
    EXPECT_THAT(feed(), HasSubstr(std::string(">") + GetParam().version + "<"));
}

INSTANTIATE_TEST_SUITE_P(
    LiveFeed, WarnedRelease,
    testing::Values(
        Warned{"sameBuild", "5.1", "50", {}, "5.1 (50) takes the place of 5.0 (50) in the feed"},
        Warned{
            "older", "4.0", "40", {}, "4.0 (40) is older than 5.0 (50), which clients go on being offered."},
        Warned{"emptyChannel",
               "6.0",
               "60",
               {"--channel", ""},
               "--channel is empty, so this release is for everybody."},
        Warned{"otherFeed",
               "6.0",
               "60",
               {},
               "The app looks for updates at https://elsewhere.example.com/feed.xml"}),
    CaseName());

TEST_F(LiveFeed, tellsTheLatestCopyWhereThereIsOne) {
    const Outcome beta = releaseApp(AppBundle::ofVersion("1.0", "1"), {"--channel", "beta"});
    EXPECT_THAT(beta.output, Not(HasSubstr("Latest")));
    EXPECT_THAT(releases({"update", idsOf("1.0 (1)").at(0), "--channel", ""}).error,
                HasSubstr("There is no latest copy at https://dl.example.com/files/Demo.zip. To make one, "
                          "release 1.0 (1) again"));
    EXPECT_THAT(releaseApp(AppBundle::ofVersion("1.1", "2")).output,
                HasSubstr("Latest: https://dl.example.com/files/Demo.zip"));
    EXPECT_THAT(releaseApp(AppBundle::ofVersion("1.2", "3"), {"--draft"}).output, HasSubstr("Latest: "));
    EXPECT_THAT(releases({"delete", idsOf("1.1 (2)").at(0), "--yes"}).error,
                HasSubstr("The latest copy https://dl.example.com/files/Demo.zip does not follow this "
                          "change. To renew it, release 1.0 (1) again"));
}

} // namespace
} // namespace halvo::test
