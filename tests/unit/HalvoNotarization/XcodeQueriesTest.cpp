#include <HalvoNotarization/XcodeArchiveService.h>

#include <Support/CaseName.h>
#include <Support/FakeProcessRunner.h>
#include <Support/RecordingLog.h>
#include <Support/ScaledClock.h>
#include <Support/ScriptedTools.h>
#include <Support/Shell.h>
#include <Support/Thrown.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::CaseName;
using test::descriptionThrown;
using test::ScriptedTools;
using testing::ElementsAre;

const std::string noise =
    "2026-07-09 17:32:52.576 xcodebuild[33081:2408968]  DTDeviceKit: deviceType was NULL\n";

std::string target(const std::string& identifier, const std::string& type) {
    return R"({"action": "archive", "buildSettings": {"PRODUCT_BUNDLE_IDENTIFIER": ")" + identifier +
           R"(", "PRODUCT_TYPE": "com.apple.product-type.)" + type + "\"}}";
}

struct SettingsCase {
    std::string_view name;
    std::string output;
    std::optional<std::string> identifier;
};

class ParseBundleIdentifier : public testing::TestWithParam<SettingsCase> {};

TEST_P(ParseBundleIdentifier, takesTheApplication) {
    EXPECT_EQ(XcodeArchiveService::parseBundleIdentifier(GetParam().output), GetParam().identifier);
}

INSTANTIATE_TEST_SUITE_P(
    XcodeQueries, ParseBundleIdentifier,
    testing::Values(
        SettingsCase{"applicationBehindAFramework",
                     "[" + target("a.framework", "framework") + "," + target("a.app", "application") + "," +
                         target("b.app", "application") + "]",
                     "a.app"},
        SettingsCase{"noApplication", "[" + target("a.tool", "tool") + "," + target("b.tool", "tool") + "]",
                     "a.tool"},
        SettingsCase{"withoutType", R"([{"buildSettings": {"PRODUCT_BUNDLE_IDENTIFIER": "a"}}])", "a"},
        SettingsCase{"applicationWithoutIdentifier",
                     R"([{"buildSettings": {"PRODUCT_TYPE": "com.apple.product-type.application"}}, )" +
                         target("b", "tool") + "]",
                     "b"},
        SettingsCase{"behindLogLines", noise + "[MT] noise\n[" + target("a.app", "application") + "]\n",
                     "a.app"},
        SettingsCase{"empty", "", std::nullopt},
        SettingsCase{"notJSON", "Build settings for action", std::nullopt},
        SettingsCase{"noTargets", "[]", std::nullopt}, SettingsCase{"object", "{}", std::nullopt},
        SettingsCase{
            "otherTypes",
            R"([1, null, {"buildSettings": []}, {"buildSettings": {"PRODUCT_BUNDLE_IDENTIFIER": 7}}])",
            std::nullopt},
        SettingsCase{"deeplyNested", std::string(100000, '['), std::nullopt},
        SettingsCase{"manyBrackets",
                     [] {
                         std::string text;
                         for (int i = 0; i < 20000; ++i)
                             text += "[\n";
                         return text;
                     }(),
                     std::nullopt},
        SettingsCase{"notUTF8", "[{\"buildSettings\": \"\xff\"}]", std::nullopt}),
    CaseName());

TEST(ParseSchemes, sortsThem) {
    const std::string output = R"({"workspace": {"schemes": ["b", "a b", "B"]}, "project": {"schemes": []}})";
    EXPECT_THAT(XcodeArchiveService::parseSchemes(noise + output, ProjectType::workspace),
                ElementsAre("B", "a b", "b"));
    EXPECT_TRUE(XcodeArchiveService::parseSchemes(output, ProjectType::project).empty());
}

struct SchemesCase {
    std::string_view name;
    const char* output;
    const char* failure;
};

class DamagedSchemes : public testing::TestWithParam<SchemesCase> {};

TEST_P(DamagedSchemes, areNamed) {
    EXPECT_EQ(descriptionThrown<XcodeArchiveError>(
                  [] { XcodeArchiveService::parseSchemes(GetParam().output, ProjectType::project); }),
              "Failed to parse schemes: " + std::string(GetParam().failure));
}

constexpr const char* none = "The output of xcodebuild -list holds no schemes";

INSTANTIATE_TEST_SUITE_P(
    XcodeQueries, DamagedSchemes,
    testing::Values(SchemesCase{"empty", "", none}, SchemesCase{"notJSON", "Schemes: Demo", none},
                    SchemesCase{"otherType", R"({"workspace": {"schemes": ["a"]}})", none},
                    SchemesCase{"list", R"(["a"])", none},
                    SchemesCase{"noList", R"({"project": {"schemes": "a"}})", none},
                    SchemesCase{"noText", R"({"project": {"schemes": ["a", 1]}})",
                                "The output of xcodebuild -list holds a scheme that is no text"},
                    SchemesCase{"notUTF8", "{\"project\": {\"schemes\": [\"\xff\"]}}",
                                "Invalid output encoding"}),
    CaseName());

class XcodeQueriesTest : public testing::Test {
protected:
    ScriptedTools tools{
        {{"HALVO_XCODEBUILD_QUERY_TIMEOUT", "1x"}, {"HALVO_CLONED_SOURCE_PACKAGES_DIR", "/p"}}};
    SystemClock clock;
    test::RecordingLog log;
    XcodeArchiveService service{{tools.runner(), clock, tools.environment(), log},
                                tools.temporaryDirectory()};
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
                  R"([{"exit": 65}])", R"([{"signal": 9}])", R"([{"out": "[]"}])"});
    EXPECT_EQ(identifierFailure(), "Failed to read build settings: xcodebuild: error: No scheme\n  Reason");
    EXPECT_EQ(identifierFailure(), "Failed to read build settings: xcodebuild -showBuildSettings failed");
    EXPECT_EQ(identifierFailure(), "Failed to read build settings: xcodebuild -showBuildSettings failed");
    EXPECT_EQ(identifierFailure(),
              "Failed to read build settings: No PRODUCT_BUNDLE_IDENTIFIER in build settings for "
              "scheme 'My Scheme'");
    tools.script("xcodebuild -list",
                 {R"([{"err": "xcodebuild: error: no project\n"}, {"exit": 66}])", R"([{"exit": 66}])", "[]",
                  R"([{"out": "{\"project\": \"\udcff\"}"}])"});
    EXPECT_EQ(schemesFailure(), "Failed to parse schemes: xcodebuild: error: no project");
    EXPECT_EQ(schemesFailure(), "Failed to parse schemes: Failed to list schemes");
    EXPECT_EQ(schemesFailure(), "Failed to parse schemes: The output of xcodebuild -list holds no schemes");
    EXPECT_EQ(schemesFailure(), "Failed to parse schemes: Invalid output encoding");
}

TEST_F(XcodeQueriesTest, limitTheirOutput) {
    tools.script("xcodebuild -list", {"[{\"out\": \"" + std::string((256 << 10) + 1, ' ') + "\"}]"});
    EXPECT_EQ(schemesFailure(),
              "Failed to parse schemes: Failed to run xcodebuild: Child process output exceeded the limit.");
    test::FakeProcessRunner missing;
    XcodeArchiveService toolless({missing, clock, tools.environment(), log}, tools.temporaryDirectory());
    EXPECT_EQ(descriptionThrown<XcodeArchiveError>(
                  [&] { toolless.bundleIdentifier(project, ProjectType::project, "S"); }),
              "Failed to read build settings: Failed to run xcodebuild: Executable is not found or cannot be "
              "executed.");
}

TEST_F(XcodeQueriesTest, areKilledAfterTheirTimeAndAskedOnceMore) {
    test::ScaledClock fast(30); // a limit of 60 seconds takes two
    XcodeArchiveService hasty({tools.runner(), fast, tools.environment(), log}, tools.temporaryDirectory());
    tools.script("xcodebuild -list", {R"([{"spawn": 300}, {"ignore": 15}, {"hang": true}])",
                                      R"([{"out": "{\"project\": {\"schemes\": [\"Demo\"]}}"}])"});
    EXPECT_THAT(hasty.listSchemes(project, ProjectType::project), ElementsAre("Demo"));
    EXPECT_THAT(log.messages,
                ElementsAre("halvo: xcodebuild did not exit within 60 seconds and was killed. Raise "
                            "HALVO_XCODEBUILD_QUERY_TIMEOUT (seconds) if this machine is legitimately "
                            "slow. Retrying the query once."));
    for (const pid_t process : tools.processNumbers())
        EXPECT_TRUE(test::vanishes(process));
}

TEST(XcodeQueryTimeout, goesOnTheSecondTime) {
    ScriptedTools tools{{{"HALVO_XCODEBUILD_QUERY_TIMEOUT", "1"}}};
    SystemClock clock;
    SilentLog log;
    tools.script("xcodebuild -showBuildSettings", {R"([{"hang": true}])"});
    XcodeArchiveService service({tools.runner(), clock, tools.environment(), log},
                                tools.temporaryDirectory());
    EXPECT_EQ(descriptionThrown<XcodeArchiveError>(
                  [&] { service.bundleIdentifier("/", ProjectType::project, "S"); }),
              "Failed to read build settings: Failed to run xcodebuild: xcodebuild did not exit within 1 "
              "second and was "
              "killed. Raise HALVO_XCODEBUILD_QUERY_TIMEOUT (seconds) if this machine is legitimately slow.");
    EXPECT_EQ(tools.calls().size(), 2u);
}

} // namespace
} // namespace halvo
