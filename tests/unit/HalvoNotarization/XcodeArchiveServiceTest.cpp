#include <HalvoNotarization/XcodeArchiveService.h>

#include <Support/RecordingLog.h>
#include <Support/ScriptedTools.h>
#include <Support/Shell.h>
#include <Support/Thrown.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::descriptionThrown;
using test::ScriptedTools;
using testing::ElementsAre;
using testing::IsEmpty;
using Signing = XcodeArchiveService::Signing;

const ASCAuthenticationKey key{"KEY1", "issuer-1", copyBytes("secret")};

TEST(SigningArguments, followTheSigning) {
    const auto arguments = XcodeArchiveService::signingArguments;
    EXPECT_THAT(arguments({Signing::Automatic{key}}, "/no/such.p8"),
                ElementsAre("-allowProvisioningUpdates"));
    EXPECT_THAT(arguments({Signing::Manual{"ID", "My Profile", std::nullopt, std::nullopt}}, std::nullopt),
                ElementsAre("CODE_SIGN_STYLE=Manual", "CODE_SIGN_IDENTITY=ID",
                            "PROVISIONING_PROFILE_SPECIFIER=My Profile"));
    EXPECT_THAT(
        arguments({Signing::Manual{"ID", "My Profile", "TEAM1", "com.example.my-app2"}}, std::nullopt),
        ElementsAre(
            "CODE_SIGN_STYLE=Manual", "CODE_SIGN_IDENTITY=ID", "HALVO_PROFILE_com_example_my_app2=My Profile",
            "PROVISIONING_PROFILE_SPECIFIER=$(HALVO_PROFILE_$(PRODUCT_BUNDLE_IDENTIFIER:c99extidentifier))",
            "DEVELOPMENT_TEAM=TEAM1"));
    EXPECT_THAT(arguments({Signing::AdHoc{}}, "/bin/sh"),
                ElementsAre("CODE_SIGN_STYLE=Manual", "CODE_SIGN_IDENTITY=-"));
}

class XcodeArchiveServiceTest : public testing::Test {
protected:
    ScriptedTools tools{{{"HALVO_CLONED_SOURCE_PACKAGES_DIR", "/cloned packages"}, {"NSUnbufferedIO", "NO"}}};
    SilentLog log;
    XcodeArchiveService service{{tools.runner(), tools.environment(), log}, tools.temporaryDirectory()};
    std::filesystem::path project = tools.write("My Demo.xcworkspace/contents", "").parent_path();
};

TEST_F(XcodeArchiveServiceTest, archivesWithAllArgumentsInTheirOrder) {
    const auto path = service.archive(project, ProjectType::workspace, "My Scheme", {Signing::Automatic{key}},
                                      {{"MARKETING_VERSION", "1.2 beta"}, {"CURRENT_PROJECT_VERSION", "7"}});
    const auto calls = tools.calls();
    ASSERT_EQ(calls.size(), 1u);
    ASSERT_TRUE(calls[0].key);
    EXPECT_EQ(calls[0].arguments,
              (Arguments{"-workspace", project.string(), "-scheme", "My Scheme", "-archivePath",
                         path.string(), "-clonedSourcePackagesDirPath", "/cloned packages",
                         "-allowProvisioningUpdates", "-authenticationKeyPath", calls[0].key->path.string(),
                         "-authenticationKeyID", "KEY1", "-authenticationKeyIssuerID", "issuer-1",
                         "CURRENT_PROJECT_VERSION=7", "MARKETING_VERSION=1.2 beta", "archive"}));
    EXPECT_EQ(calls[0].key->content, "secret");
    EXPECT_EQ(calls[0].key->mode, 0600u);
    EXPECT_EQ(calls[0].environment.at("NSUnbufferedIO"), "YES");
    EXPECT_EQ(calls[0].input, "");
    EXPECT_TRUE(calls[0].ownGroup);
    EXPECT_EQ(path.parent_path(), tools.temporaryDirectory());
    EXPECT_THAT(path.filename().string(), testing::MatchesRegex("My Scheme-[0-9A-F-]*\\.xcarchive"));
    EXPECT_THAT(tools.leftovers(), ElementsAre(path.filename())) << "the key is gone";
}

TEST_F(XcodeArchiveServiceTest, passesOnTheLinesOfBothStreams) {
    tools.script("xcodebuild archive", {R"([{"out": "one\ntwo"}, {"err": "three\n"}])"});
    std::vector<std::string> lines;
    service.archive(project, ProjectType::workspace, "Demo", {}, {},
                    [&](const std::string& line) { lines.push_back(line); });
    EXPECT_THAT(lines, testing::UnorderedElementsAre("one", "two", "three"));
}

TEST_F(XcodeArchiveServiceTest, carriesTheLinesOfAFailureAndDoesNotRepeatIt) {
    const std::pair<const char*, const char*> cases[] = {
        {R"([{"write": ["{archive}/Info.plist", ""]}, {"err": "error: B\n"}, {"out": "A\n\n"}, {"exit": 65}])",
         "Archive failed: A\n\nerror: B"},
        {R"([{"err": "\"Demo\" requires a provisioning profile. Select one.\n"}, {"exit": 65}])",
         "\"Demo\" requires a provisioning profile. Select one."},
        {R"([{"out": "a\udcffb\n"}, {"exit": 65}])", "Archive failed: a\ufffdb"}};
    for (const auto& [steps, failure] : cases) {
        tools.script("xcodebuild archive", {steps});
        EXPECT_EQ(descriptionThrown<XcodeArchiveError>([&] {
                      service.archive(project, ProjectType::workspace, "Demo", {Signing::Automatic{key}}, {});
                  }),
                  failure);
        EXPECT_THAT(tools.leftovers(), IsEmpty());
    }
    EXPECT_EQ(tools.calls().size(), 3u);
}

TEST_F(XcodeArchiveServiceTest, startsNothingForAMissingProject) {
    const std::filesystem::path missing = "/no/such.xcodeproj";
    const std::function<void()> operations[] = {
        [&] { service.archive(missing, ProjectType::project, "D", {}, {}); },
        [&] { service.bundleIdentifier(missing, ProjectType::project, "D"); },
        [&] { service.listSchemes(missing, ProjectType::project); }};
    for (const auto& operation : operations)
        EXPECT_EQ(descriptionThrown<XcodeArchiveError>(operation),
                  "Project not found at " + missing.string());
    EXPECT_THAT(tools.calls(), IsEmpty());
}

const std::string noise =
    "2026-07-09 17:32:52.576 xcodebuild[33081:2408968]  DTDeviceKit: deviceType was NULL\n";

std::string target(const std::string& identifier, const std::string& type) {
    return R"({"action": "archive", "buildSettings": {"PRODUCT_BUNDLE_IDENTIFIER": ")" + identifier +
           R"(", "PRODUCT_TYPE": "com.apple.product-type.)" + type + "\"}}";
}

TEST(ParseBundleIdentifier, takesTheApplication) {
    const std::string application = target("a.app", "application");
    std::string manyBrackets;
    for (int line = 0; line < 20000; ++line)
        manyBrackets += "[\n";
    const std::pair<std::string, std::optional<std::string>> cases[] = {
        {"[" + target("a.framework", "framework") + "," + application + "," + target("b.app", "application") +
             "]",
         "a.app"},
        {"[" + target("a.tool", "tool") + "," + target("b.tool", "tool") + "]", "a.tool"},
        {R"([{"buildSettings": {"PRODUCT_TYPE": "com.apple.product-type.application"}}, )" +
             target("b", "tool") + "]",
         "b"},
        {noise + "[MT] noise\n[" + application + "]\n", "a.app"},
        {"Build settings for action", std::nullopt},
        {R"([1, null, {"buildSettings": []}, {"buildSettings": {"PRODUCT_BUNDLE_IDENTIFIER": 7}}])",
         std::nullopt},
        {std::string(100000, '['), std::nullopt},
        {manyBrackets, std::nullopt}};
    for (const auto& [output, identifier] : cases)
        EXPECT_EQ(XcodeArchiveService::parseBundleIdentifier(output), identifier) << output.substr(0, 200);
}

TEST(ParseSchemes, sortsThem) {
    const std::string output = R"({"workspace": {"schemes": ["b", "a b", "B"]}, "project": {"schemes": []}})";
    EXPECT_THAT(XcodeArchiveService::parseSchemes(noise + output, ProjectType::workspace),
                ElementsAre("B", "a b", "b"));
    EXPECT_TRUE(XcodeArchiveService::parseSchemes(output, ProjectType::project).empty());
}

TEST(ParseSchemes, namesWhatIsDamaged) {
    const auto failure = [](const char* output) {
        return descriptionThrown<XcodeArchiveError>(
            [&] { XcodeArchiveService::parseSchemes(output, ProjectType::project); });
    };
    const std::string output = "Failed to parse schemes: The output of xcodebuild -list holds ";
    EXPECT_EQ(failure("Schemes: Demo"), output + "no schemes");
    EXPECT_EQ(failure(R"({"workspace": {"schemes": ["a"]}})"), output + "no schemes");
    EXPECT_EQ(failure(R"({"project": {"schemes": ["a", 1]}})"), output + "a scheme that is not a text");
    EXPECT_EQ(failure("{\"project\": {\"schemes\": [\"\xff\"]}}"),
              "Failed to parse schemes: Invalid output encoding");
}

class XcodeQueriesTest : public testing::Test {
protected:
    ScriptedTools tools{
        {{"HALVO_XCODEBUILD_QUERY_TIMEOUT", "1x"}, {"HALVO_CLONED_SOURCE_PACKAGES_DIR", "/p"}}};
    test::RecordingLog log;
    XcodeArchiveService service{{tools.runner(), tools.environment(), log}, tools.temporaryDirectory()};
    std::filesystem::path project = tools.write("My Demo.xcodeproj/x", "").parent_path();

    std::string identifierFailure() {
        return descriptionThrown<XcodeArchiveError>(
            [&] { service.bundleIdentifier(project, ProjectType::project, "My Scheme"); });
    }
    std::string schemesFailure() {
        return descriptionThrown<XcodeArchiveError>(
            [&] { service.listSchemes(project, ProjectType::project); });
    }
};

TEST_F(XcodeQueriesTest, askWithTheirArguments) {
    EXPECT_EQ(service.bundleIdentifier(project, ProjectType::workspace, "My Scheme"), "com.example.Demo");
    EXPECT_THAT(service.listSchemes(project, ProjectType::project), ElementsAre("Demo"));
    EXPECT_THAT(tools.argumentsOf("xcodebuild -showBuildSettings"),
                ElementsAre(Arguments{"-workspace", project.string(), "-scheme", "My Scheme", "archive",
                                      "-showBuildSettings", "-json", "-clonedSourcePackagesDirPath", "/p"}));
    EXPECT_THAT(tools.argumentsOf("xcodebuild -list"),
                ElementsAre(Arguments{"-list", "-json", "-project", project.string()}));
    for (const auto& call : tools.calls())
        EXPECT_TRUE(call.ownGroup);
}

TEST_F(XcodeQueriesTest, showTheLeadingLinesOfAFailure) {
    tools.script("xcodebuild -showBuildSettings",
                 {R"([{"err": "xcodebuild: error: No scheme\n\n  Reason\n"}, {"exit": 65}])",
                  R"([{"exit": 65}])", R"([{"out": "[]"}])"});
    EXPECT_EQ(identifierFailure(), "Failed to read build settings: xcodebuild: error: No scheme\n  Reason");
    EXPECT_EQ(identifierFailure(), "Failed to read build settings: xcodebuild -showBuildSettings failed");
    EXPECT_EQ(
        identifierFailure(),
        "Failed to read build settings: No PRODUCT_BUNDLE_IDENTIFIER in build settings for scheme 'My Scheme'");
    tools.script("xcodebuild -list",
                 {R"([{"err": "xcodebuild: error: no project\n"}, {"exit": 66}])", R"([{"exit": 66}])"});
    EXPECT_EQ(schemesFailure(), "Failed to parse schemes: xcodebuild: error: no project");
    EXPECT_EQ(schemesFailure(), "Failed to parse schemes: Failed to list schemes");
}

TEST_F(XcodeQueriesTest, readTheSettingsOfLargeProjects) {
    tools.write("settings", [] {
        std::string text = "[";
        for (int number = 0; number < 500; ++number)
            text += R"({"buildSettings": {"PRODUCT_BUNDLE_IDENTIFIER": "f)" + std::to_string(number) +
                    R"(", "PADDING": ")" + std::string(30'000, 'x') + "\"}},";
        return text + target("a.app", "application") + "]";
    }());
    tools.script("xcodebuild -showBuildSettings", {R"([{"file": "{here}/settings"}])"});
    EXPECT_EQ(service.bundleIdentifier(project, ProjectType::project, "S"), "a.app");
}

TEST_F(XcodeQueriesTest, areKilledAfterTheirTimeAndAskedOnceMore) {
    const std::string timeout =
        "xcodebuild did not exit within 1 second and was killed. Raise HALVO_XCODEBUILD_QUERY_TIMEOUT (seconds) if this machine is legitimately slow.";
    const char* hangs = R"([{"spawn": 300}, {"ignore": 15}, {"hang": true}])";
    XcodeArchiveService hasty({tools.runner(), tools.environment(), log, {.query = std::chrono::seconds(1)}},
                              tools.temporaryDirectory());
    tools.script("xcodebuild -list",
                 {hangs, R"([{"out": "{\"project\": {\"schemes\": [\"Demo\"]}}"}])", hangs});
    EXPECT_THAT(hasty.listSchemes(project, ProjectType::project), ElementsAre("Demo"));
    EXPECT_THAT(log.messages, ElementsAre("halvo: " + timeout + " Retrying the query once."));
    EXPECT_EQ(descriptionThrown<XcodeArchiveError>([&] { hasty.listSchemes(project, ProjectType::project); }),
              "Failed to parse schemes: Failed to run xcodebuild: " + timeout);
    EXPECT_EQ(tools.calls().size(), 4u);
    for (const pid_t process : tools.processNumbers())
        EXPECT_TRUE(test::vanishes(process));
}

TEST(ArchiveLimits, comeFromTheEnvironment) {
    const auto limits =
        XcodeArchiveService::Limits::of(Environment({{"HALVO_XCODEBUILD_QUERY_TIMEOUT", "1x"},
                                                     {"HALVO_ARCHIVE_STALL_TIMEOUT", "+5"},
                                                     {"HALVO_ARCHIVE_COMPLETE_IDLE_GRACE", "7"}}));
    EXPECT_EQ(limits.query, std::chrono::seconds(60));
    EXPECT_EQ(limits.stall, std::chrono::seconds(5));
    EXPECT_EQ(limits.idleGrace, std::chrono::seconds(7));
}

} // namespace
} // namespace halvo
