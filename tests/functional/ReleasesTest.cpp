#include "ReleaseFixture.h"

#include <Support/CaseName.h>

namespace halvo::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using testing::IsEmpty;

constexpr const char* bundle = "com.example.demo";

/// The releases of an app that is set up on this machine, in an empty bucket of a real S3 store.
class Releases : public ReleaseTest {
protected:
    Releases() {
        useStore();
        AppBundle().writeTo(work);
        const Outcome done = run({"setup", "Demo.app", "--hosting", "s3", "--s3-access-key-id",
                                  variables.at("AWS_ACCESS_KEY_ID"), "--s3-secret-access-key",
                                  variables.at("AWS_SECRET_ACCESS_KEY"), "--sparkle-key", key.secret},
                                 variables);
        EXPECT_THAT(done.output, HasSubstr("Setup complete!"));
    }

    /// Publishes a version with what `setup` stored, and gives its identifier.
    std::string publish(const std::string& version, const std::string& build, Arguments options = {}) {
        AppBundle::ofVersion(version, build).writeTo(work);
        options.insert(options.begin(), {"release", "Demo.app", "--skip-notarization"});
        const Outcome outcome = run(options);
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        const std::string row = listed(version + " (" + build + ")");
        return row.substr(row.size() - 36);
    }
    Outcome releases(Arguments arguments) {
        arguments.insert(arguments.begin(), "releases");
        arguments.insert(arguments.end(), {"-b", bundle});
        return run(arguments);
    }
    /// The item of a build number.
    nlohmann::json item(const std::string& build) {
        for (const nlohmann::json& candidate : feedItems())
            if (candidate.at("sparkle:version") == build)
                return candidate;
        return {};
    }
    /// The line about a version.
    std::string listed(const std::string& version) {
        const std::string table = releases({"list"}).output;
        const std::size_t start = table.find("\n" + version + " ") + 1;
        EXPECT_NE(start, 0U) << table;
        return table.substr(start, table.find('\n', start) - start);
    }
};

TEST_F(Releases, areListedEditedAndDeleted) {
    EXPECT_EQ(releases({"list"}).output, "No releases found for com.example.demo\n");
    const std::string first = publish("1.2", "7", {"--release-notes", "First **words**"});
    const std::string second = publish("1.10", "10", {"--channel", "beta", "--critical"});
    const std::string table = releases({"list"}).output;
    EXPECT_THAT(table, HasSubstr("\n1.10 (10)  Published, beta, Critical  2"));
    EXPECT_LT(table.find("1.10 (10)"), table.find("1.2 (7)")) << table;
    const auto description = item("7").at("description");

    Outcome updated = releases({"update", first, "--published", "false", "--phased-rollout", "true"});
    EXPECT_EQ(updated.status, 0);
    EXPECT_EQ(updated.output, "Updated release " + first + "\n");
    EXPECT_THAT(listed("1.2 (7)"), HasSubstr("  Draft, Phased  "));
    EXPECT_EQ(item("7").at("description"), description);
    releases({"update", second, "--channel", "", "--critical", "false", "--release-notes", "New *words*"});
    EXPECT_THAT(listed("1.10 (10)"), HasSubstr("  Published  "));
    EXPECT_THAT(item("10").at("description").get<std::string>(), HasSubstr("New <em>words</em>"));
    updated = releases({"update", second, "--beta", "true"});
    EXPECT_EQ(updated.error, "warning: --beta is deprecated; use --channel instead.\nwarning: The latest "
                             "copy https://dl.example.com/files/Demo.zip does not follow this change. To "
                             "renew it, release a new version.\n");
    EXPECT_EQ(item("10").at("sparkle:channel"), "beta");

    const Outcome unasked = releases({"delete", second});
    EXPECT_EQ(unasked.status, 1);
    EXPECT_THAT(unasked.output, EndsWith("Pass --yes to delete it without being asked.\n"));
    EXPECT_TRUE(object("Demo-1.10-10.zip"));
    const Outcome deleted = releases({"delete", second, "--yes"});
    EXPECT_EQ(deleted.status, 0);
    EXPECT_EQ(deleted.output, "Deleted release 1.10 (10)\n");
    EXPECT_EQ(feedItems().size(), 1U);
    EXPECT_FALSE(object("Demo-1.10-10.zip"));
    EXPECT_TRUE(object("Demo-1.2-7.zip"));

    EXPECT_EQ(run({"apps", "delete", "-b", bundle, "--yes"}).output, "Deleted Demo\n");
    const std::string keychain = readText(home / "data/halvo/keychain.json");
    EXPECT_THAT(keychain, HasSubstr("halvo.sparkle.com.example.demo"));
    EXPECT_THAT(keychain, testing::Not(HasSubstr("s3")));
}

struct RefusedEdit {
    const char* name;
    Arguments arguments;
    std::string told;
};

class ReleasesRefusal : public ProgramTest, public testing::WithParamInterface<RefusedEdit> {};

TEST_P(ReleasesRefusal, endsWithStatusOne) {
    Arguments arguments = GetParam().arguments;
    arguments.insert(arguments.begin(), "releases");
    arguments.insert(arguments.end(), {"-b", bundle});
    const Outcome refused = run(arguments);
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.output, GetParam().told + "\n");
}

const std::string someID = "11111111-2222-4333-8444-555555555555";
const std::string notLoggedIn =
    "Not logged in. Run `halvo login`, or `halvo setup` to register a new app. For an app in a bucket of "
    "your own, pass --s3-bucket, --s3-region and --s3-public-url, or set HALVO_S3_BUCKET, HALVO_S3_REGION "
    "and HALVO_S3_PUBLIC_URL.";

INSTANTIATE_TEST_SUITE_P(
    Releases, ReleasesRefusal,
    testing::Values(
        RefusedEdit{"nothingToChange",
                    {"update", "no-id"},
                    "No changes specified. Use --published, --channel, --critical, --phased-rollout, or "
                    "--release-notes."},
        RefusedEdit{"id", {"update", "no-id", "--published", "maybe"}, "Invalid release ID: no-id"},
        RefusedEdit{"idToDelete", {"delete", "no-id"}, "Invalid release ID: no-id"},
        RefusedEdit{"boolean",
                    {"update", someID, "--critical", "TRUE", "--channel", "No"},
                    "Invalid boolean value: TRUE. Use true/false."},
        RefusedEdit{"channel",
                    {"update", someID, "--channel", "unreleased"},
                    "Channel name 'unreleased' is reserved and cannot be used."},
        RefusedEdit{"betaAndChannel",
                    {"update", someID, "--beta", "true", "--channel", "nightly"},
                    "--channel nightly conflicts with --beta. Pass only one."},
        RefusedEdit{"listNeedsLogin", {"list"}, notLoggedIn},
        RefusedEdit{"updateNeedsLogin", {"update", someID, "--published", "true"}, notLoggedIn},
        RefusedEdit{"deleteNeedsLogin", {"delete", someID, "--yes"}, notLoggedIn}),
    CaseName());

TEST_F(ProgramTest, appsReportsAndEndsWithZero) {
    Outcome told = run({"apps", "list"});
    EXPECT_EQ(told.status, 0);
    EXPECT_EQ(told.output,
              "Note: Not logged in. Showing local apps only.\nNo local apps found. Log in to see "
              "Halvo-hosted apps.\n");
    told = run({"apps", "delete", "-b", bundle});
    EXPECT_EQ(told.status, 0);
    EXPECT_THAT(told.output, StartsWith("App not found: com.example.demo\nNot logged in. Run `halvo login`"));
}

} // namespace
} // namespace halvo::test
