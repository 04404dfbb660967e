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

const std::string noise =
    "2026-07-09 17:32:52.576 xcodebuild[33081:2408968]  DTDeviceKit: deviceType was NULL\n";

std::string target(const std::string& identifier, const std::string& type) {
    return R"({"action": "archive", "buildSettings": {"PRODUCT_BUNDLE_IDENTIFIER": ")" + identifier +
           R"(", "PRODUCT_TYPE": "com.apple.product-type.)" + type + "\"}}";
}

TEST(ParseBundleIdentifier, takesTheApplication) {
    const struct {
        std::string_view name;
        std::string output;
        std::optional<std::string> identifier;
    } cases[] = {
        {"applicationBehindAFramework",
         "[" + target("a.framework", "framework") + "," + target("a.app", "application") + "," +
             target("b.app", "application") + "]",
         "a.app"},
        {"noApplication", "[" + target("a.tool", "tool") + "," + target("b.tool", "tool") + "]", "a.tool"},
        {"applicationWithoutIdentifier",
         R"([{"buildSettings": {"PRODUCT_TYPE": "com.apple.product-type.application"}}, )" +
             target("b", "tool") + "]",
         "b"},
        {"behindLogLines", noise + "[MT] noise\n[" + target("a.app", "application") + "]\n", "a.app"},
        {"notJSON", "Build settings for action", std::nullopt},
        {"otherTypes",
         R"([1, null, {"buildSettings": []}, {"buildSettings": {"PRODUCT_BUNDLE_IDENTIFIER": 7}}])",
         std::nullopt},
        {"deeplyNested", std::string(100000, '['), std::nullopt},
        {"manyBrackets",
         [] {
             std::string text;
             for (int i = 0; i < 20000; ++i)
                 text += "[\n";
             return text;
         }(),
         std::nullopt}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(XcodeArchiveService::parseBundleIdentifier(row.output), row.identifier);
    }
}

TEST(ParseSchemes, sortsThem) {
    const std::string output = R"({"workspace": {"schemes": ["b", "a b", "B"]}, "project": {"schemes": []}})";
    EXPECT_THAT(XcodeArchiveService::parseSchemes(noise + output, ProjectType::workspace),
                ElementsAre("B", "a b", "b"));
    EXPECT_TRUE(XcodeArchiveService::parseSchemes(output, ProjectType::project).empty());
}

constexpr const char* none = "The output of xcodebuild -list holds no schemes";

TEST(DamagedSchemes, areNamed) {
    const struct {
        std::string_view name;
        const char* output;
        const char* failure;
    } cases[] = {{"notJSON", "Schemes: Demo", none},
                 {"otherType", R"({"workspace": {"schemes": ["a"]}})", none},
                 {"noText", R"({"project": {"schemes": ["a", 1]}})",
                  "The output of xcodebuild -list holds a scheme that is no text"},
                 {"notUTF8", "{\"project\": {\"schemes\": [\"\xff\"]}}", "Invalid output encoding"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(descriptionThrown<XcodeArchiveError>(
                      [&] { XcodeArchiveService::parseSchemes(row.output, ProjectType::project); }),
                  "Failed to parse schemes: " + std::string(row.failure));
    }
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
    EXPECT_EQ(identifierFailure(),
              "Failed to read build settings: No PRODUCT_BUNDLE_IDENTIFIER in build settings for "
              "scheme 'My Scheme'");
    tools.script("xcodebuild -list",
                 {R"([{"err": "xcodebuild: error: no project\n"}, {"exit": 66}])", R"([{"exit": 66}])"});
    EXPECT_EQ(schemesFailure(), "Failed to parse schemes: xcodebuild: error: no project");
    EXPECT_EQ(schemesFailure(), "Failed to parse schemes: Failed to list schemes");
}

TEST_F(XcodeQueriesTest, limitTheirOutput) {
    tools.script("xcodebuild -list", {"[{\"out\": \"" + std::string((256 << 10) + 1, ' ') + "\"}]"});
    EXPECT_EQ(schemesFailure(),
              "Failed to parse schemes: Failed to run xcodebuild: Child process output exceeded the limit.");
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
