#include "ProgramFixture.h"

namespace halvo::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* identity = "Developer ID Application: Jane Doe (ABCDE12345)";

/// Runs of `halvo config` on a machine with one identity.
class Config : public ProgramTest {
protected:
    Config() {
        const auto tool =
            folder.write("tools/usr/bin/security",
                         "#!/bin/sh\necho '  1) 0123456789ABCDEF0123456789ABCDEF01234567 \"" +
                             std::string(identity) + "\"'\necho '     1 valid identities found'\n");
        std::filesystem::permissions(tool, std::filesystem::perms(0755));
    }

    Outcome config(Arguments arguments) {
        arguments.insert(arguments.begin(), "config");
        arguments.insert(arguments.end(), {"-b", "com.example.demo"});
        return run(arguments, {{"HALVO_TOOL_ROOT", (folder / "tools").string()}});
    }
    void configured(const Arguments& arguments, const std::string& told) {
        const Outcome outcome = config(arguments);
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        EXPECT_EQ(outcome.output, told + "\n");
        EXPECT_THAT(outcome.error, IsEmpty());
    }
    std::string settings() const { return readText(home / "config/halvo/com.tarnworks.Halvo.json"); }

    /// A self-hosted app, as `setup` stores it.
    void storeApp() {
        folder.write("home/config/halvo/com.tarnworks.Halvo.json",
                     R"({"localApps": [{"id": "11111111-2222-4333-8444-555555555555", "name": "Demo",
                         "bundleIdentifier": "com.example.demo", "storage": {"s3": {"_0": {"bucket": "old",
                         "region": "us-east-1", "publicBaseURL": "https://dl.example.com",
                         "appcastPath": "appcast.xml"}}}}]})");
    }
};

TEST_F(Config, setsShowsAndClearsReleaseSettings) {
    configured({"set", "release", "codesign-identity", identity},
               std::string("Set release.codesign-identity to ") + identity);
    EXPECT_EQ(
        config({"show", "--section", "release"}).output,
        std::string("Configuration for com.example.demo\n\nRelease Settings\ncodesign-identity  ") +
            identity +
            "\nkeychain-profile   (none)\ndmg-enabled        true\nshow-watermark     (default)\ndmg-background     (generated)\n");
    run({"dmg-template", "--output", "back.png"});
    configured({"set", "release", "keychain-profile", "notary"}, "Set release.keychain-profile to notary");
    configured({"set", "release", "dmg-enabled", "false"}, "Set release.dmg-enabled to false");
    configured({"set", "release", "show-watermark", "true"}, "Set release.show-watermark to true");
    configured({"set", "release", "dmg-background", "back.png"}, "Set release.dmg-background to back.png");
    EXPECT_THAT(
        config({"show"}).output,
        HasSubstr(
            "\nkeychain-profile   notary\ndmg-enabled        false\nshow-watermark     true\ndmg-background     " +
            (work / "back.png").string() +
            "\n\nS3 Settings\nNot configured\n\nApp Settings (Halvo-hosted)\nNot an Halvo-hosted app or not logged in\n"));
    script("rm back.png");
    configured({"set", "release", "dmg-background", ""}, "Cleared release.dmg-background");
    EXPECT_THAT(settings(), testing::Not(HasSubstr("dmgBackgroundURL")));
    configured({"clear", "release"}, "Cleared release settings for com.example.demo");
    EXPECT_EQ(config({"show", "--section", "release"}).output,
              "Configuration for com.example.demo\n\nRelease Settings\nNot configured\n");
}

TEST_F(Config, writesNothingOfWhatItRefuses) {
    storeApp();
    config({"set", "release", "codesign-identity", identity});
    const std::string before = settings();
    const std::string unknown =
        std::string("Codesign identity not found: Jane\nAvailable identities:\n  ") + identity + "\n";
    const std::pair<Arguments, std::string> cases[] = {
        {{"release", "codesign-identity", "Jane"}, unknown},
        {{"release", "dmg-enabled", "TRUE"}, "Invalid value for dmg-enabled. Use 'true' or 'false'.\n"},
        {{"release", "show-watermark", "yes"}, "Invalid value for show-watermark. Use 'true' or 'false'.\n"},
        {{"release", "dmg-background", "absent.png"}, ""},
        {{"s3", "endpoint", "s3 host"}, "Invalid URL: s3 host\n"},
        {{"s3", "endpoint", "mailto:x"}, "Invalid URL: mailto:x\n"},
        {{"s3", "public-url", "cdn.example.com:8080/files"}, "Invalid URL: cdn.example.com:8080/files\n"},
        {{"s3", "public-url", ""}, "Invalid URL: \n"},
        {{"s3", "bucket", ""}, "Invalid value for bucket. It cannot be empty.\n"},
        {{"s3", "region", ""}, "Invalid value for region. It cannot be empty.\n"},
        {{"app", "custom-domain", "x"}, "App not found: com.example.demo\nNot logged in. Run `halvo login`"},
    };
    for (auto [arguments, told] : cases) {
        arguments.insert(arguments.begin(), "set");
        const Outcome refused = config(arguments);
        EXPECT_EQ(refused.status, 1);
        EXPECT_THAT(refused.output, StartsWith(told));
        EXPECT_THAT(refused.error, IsEmpty());
        EXPECT_EQ(settings(), before);
    }
}

TEST_F(Config, needsSomethingToEdit) {
    Outcome refused = config({"set", "release", "keychain-profile", "notary"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.output, "No existing release settings. Set codesign-identity first.\n");
    refused = config({"set", "s3", "bucket", "new"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_EQ(refused.output, "App not found. Run `halvo release` first to set up your app.\n");
    EXPECT_FALSE(std::filesystem::exists(home / "config/halvo/com.tarnworks.Halvo.json"));
    EXPECT_EQ(config({"set", "s3", "no-field", "new"}).status, 64);
}

TEST_F(Config, setsEveryFieldOfTheBucketAndClearsWhatIsOptional) {
    storeApp();
    const struct {
        std::string field, value, told;
    } cases[] = {
        {"bucket", "new", "Set s3.bucket to new"},
        {"region", "eu-central-1", "Set s3.region to eu-central-1"},
        {"endpoint", "https://s3.example.com", "Set s3.endpoint to https://s3.example.com"},
        {"path-prefix", "//mac/apps/", "Set s3.path-prefix to mac/apps"},
        {"public-url", "https://x.example.com", "Set s3.public-url to https://x.example.com"},
        {"appcast-path", "feed.xml", "Set s3.appcast-path to feed.xml"},
        {"endpoint", "", "Cleared s3.endpoint"},
        {"path-prefix", "/", "Cleared s3.path-prefix"},
        {"appcast-path", "", "Set s3.appcast-path to appcast.xml"},
    };
    const std::string start =
        "Configuration for com.example.demo\n\nS3 Settings\nbucket        new\nregion        eu-central-1\n";
    const std::string url = "public-url    https://x.example.com\n";
    for (const auto& row : cases) {
        configured({"set", "s3", row.field, row.value}, row.told);
        if (row.value == "feed.xml") {
            EXPECT_EQ(config({"show", "--section", "s3"}).output,
                      start + "endpoint      https://s3.example.com\npath-prefix   mac/apps\n" + url +
                          "appcast-path  feed.xml\n");
        }
    }
    EXPECT_EQ(config({"show", "--section", "s3"}).output,
              start + "endpoint      (default)\npath-prefix   (none)\n" + url +
                  "appcast-path  appcast.xml\n");
}

} // namespace
} // namespace halvo::test
