#include "ProgramFixture.h"

#include <Support/CaseName.h>

namespace halvo::test {
namespace {

using testing::EndsWith;
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
    EXPECT_EQ(config({"show", "--section", "release"}).output,
              std::string("Configuration for com.example.demo\n\nRelease Settings\n"
                          "codesign-identity  ") +
                  identity +
                  "\nkeychain-profile   (none)\ndmg-enabled        true\nshow-watermark     (default)\n"
                  "dmg-background     (generated)\n");
    script("/usr/bin/python3 -c 'import struct, sys, zlib\n"
           "def chunk(kind, data):\n"
           "    body = kind + data\n"
           "    return struct.pack(\">I\", len(data)) + body + struct.pack(\">I\", zlib.crc32(body))\n"
           "rows = zlib.compress(bytes(400 * (1 + 3 * 600)))\n"
           "head = struct.pack(\">IIBBBBB\", 600, 400, 8, 2, 0, 0, 0)\n"
           "sys.stdout.buffer.write(b\"\\x89PNG\\r\\n\\x1a\\n\" + chunk(b\"IHDR\", head) + "
           "chunk(b\"IDAT\", rows) + chunk(b\"IEND\", b\"\"))' >back.png");
    configured({"set", "release", "keychain-profile", "notary"}, "Set release.keychain-profile to notary");
    configured({"set", "release", "dmg-enabled", "false"}, "Set release.dmg-enabled to false");
    configured({"set", "release", "show-watermark", "true"}, "Set release.show-watermark to true");
    configured({"set", "release", "dmg-background", "back.png"}, "Set release.dmg-background to back.png");
    EXPECT_THAT(config({"show"}).output,
                HasSubstr("\nkeychain-profile   notary\ndmg-enabled        false\nshow-watermark     true\n"
                          "dmg-background     " +
                          (work / "back.png").string() +
                          "\n\nS3 Settings\nNot configured\n\nApp Settings (Halvo-hosted)\n"
                          "Not an Halvo-hosted app or not logged in\n"));
    script("rm back.png");
    configured({"set", "release", "dmg-background", ""}, "Cleared release.dmg-background");
    EXPECT_THAT(settings(), testing::Not(HasSubstr("dmgBackgroundURL")));
    configured({"clear", "release"}, "Cleared release settings for com.example.demo");
    EXPECT_EQ(config({"show", "--section", "release"}).output,
              "Configuration for com.example.demo\n\nRelease Settings\nNot configured\n");
}

struct RefusalCase {
    const char* name;
    Arguments arguments;
    std::string told;
};

class ConfigRefusal : public Config, public testing::WithParamInterface<RefusalCase> {};

TEST_P(ConfigRefusal, writesNothing) {
    storeApp();
    config({"set", "release", "codesign-identity", identity});
    const std::string before = settings();
    const Outcome refused = config(GetParam().arguments);
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.output, StartsWith(GetParam().told));
    EXPECT_THAT(refused.error, IsEmpty());
    EXPECT_EQ(settings(), before);
}

INSTANTIATE_TEST_SUITE_P(
    Config, ConfigRefusal,
    testing::Values(
        RefusalCase{"unknownIdentity",
                    {"set", "release", "codesign-identity", "Jane"},
                    std::string("Codesign identity not found: Jane\nAvailable identities:\n  ") + identity +
                        "\n"},
        RefusalCase{"booleanInCapitals",
                    {"set", "release", "dmg-enabled", "TRUE"},
                    "Invalid value for dmg-enabled. Use 'true' or 'false'.\n"},
        RefusalCase{"watermarkIsBoolean",
                    {"set", "release", "show-watermark", "yes"},
                    "Invalid value for show-watermark. Use 'true' or 'false'.\n"},
        RefusalCase{"backgroundIsNoPicture", {"set", "release", "dmg-background", "absent.png"}, ""},
        RefusalCase{"endpointIsURL", {"set", "s3", "endpoint", "s3 host"}, "Invalid URL: s3 host\n"},
        RefusalCase{"endpointIsWebAddress", {"set", "s3", "endpoint", "mailto:x"}, "Invalid URL: mailto:x\n"},
        RefusalCase{"publicURLHasAScheme",
                    {"set", "s3", "public-url", "cdn.example.com:8080/files"},
                    "Invalid URL: cdn.example.com:8080/files\n"},
        RefusalCase{"publicURLIsNeeded", {"set", "s3", "public-url", ""}, "Invalid URL: \n"},
        RefusalCase{"bucketIsNeeded",
                    {"set", "s3", "bucket", ""},
                    "Invalid value for bucket. It cannot be empty.\n"},
        RefusalCase{"regionIsNeeded",
                    {"set", "s3", "region", ""},
                    "Invalid value for region. It cannot be empty.\n"},
        RefusalCase{"hostedAppNeedsLogin",
                    {"set", "app", "custom-domain", "x"},
                    "App not found: com.example.demo\nNot logged in. Run `halvo login`"}),
    CaseName());

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

TEST_F(Config, setsEveryFieldOfTheBucket) {
    storeApp();
    for (const auto& [field, value] :
         std::map<std::string, std::string>{{"bucket", "new"},
                                            {"region", "eu-central-1"},
                                            {"endpoint", "https://s3.example.com"},
                                            {"path-prefix", "apps/x"},
                                            {"public-url", "https://x.example.com"},
                                            {"appcast-path", "feed.xml"}})
        configured({"set", "s3", field, value}, "Set s3." + field + " to " + value);
    EXPECT_EQ(config({"show", "--section", "s3"}).output,
              "Configuration for com.example.demo\n\nS3 Settings\nbucket        new\nregion        "
              "eu-central-1\nendpoint      https://s3.example.com\npath-prefix   apps/x\npublic-url    "
              "https://x.example.com\nappcast-path  feed.xml\n");

    configured({"set", "s3", "path-prefix", "//mac/apps/"}, "Set s3.path-prefix to mac/apps");
    configured({"set", "s3", "path-prefix", "/"}, "Cleared s3.path-prefix");
    configured({"set", "s3", "endpoint", ""}, "Cleared s3.endpoint");
    configured({"set", "s3", "appcast-path", ""}, "Set s3.appcast-path to appcast.xml");
    EXPECT_THAT(config({"show", "--section", "s3"}).output,
                EndsWith("endpoint      (default)\npath-prefix   (none)\npublic-url    "
                         "https://x.example.com\nappcast-path  appcast.xml\n"));
}

} // namespace
} // namespace halvo::test
