#include <HalvoNotarization/XcodeArchiveService.h>

#include <Support/CaseName.h>
#include <Support/ScriptedTools.h>
#include <Support/Thrown.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::CaseName;
using test::descriptionThrown;
using test::ScriptedTools;
using testing::ElementsAre;
using testing::IsEmpty;
using Signing = XcodeArchiveService::Signing;

const ASCAuthenticationKey key{"KEY1", "issuer-1", copyBytes("secret")};

TEST(SigningArguments, followTheSigning) {
    const struct {
        std::string_view name;
        Signing signing;
        std::optional<std::filesystem::path> keyPath;
        Arguments arguments;
    } cases[] = {
        {"missingKeyFile", {Signing::Automatic{key}}, "/no/such.p8", {"-allowProvisioningUpdates"}},
        {"manualForAllTargets",
         {Signing::Manual{"Developer ID Application", "My Profile", std::nullopt, std::nullopt}},
         std::nullopt,
         {"CODE_SIGN_STYLE=Manual", "CODE_SIGN_IDENTITY=Developer ID Application",
          "PROVISIONING_PROFILE_SPECIFIER=My Profile"}},
        {"manualForOneTarget",
         {Signing::Manual{"ID", "My Profile", "TEAM1", "com.example.my-app2"}},
         std::nullopt,
         {"CODE_SIGN_STYLE=Manual", "CODE_SIGN_IDENTITY=ID", "HALVO_PROFILE_com_example_my_app2=My Profile",
          "PROVISIONING_PROFILE_SPECIFIER=$(HALVO_PROFILE_$(PRODUCT_BUNDLE_IDENTIFIER:c99extidentifier))",
          "DEVELOPMENT_TEAM=TEAM1"}},
        {"adHoc", {Signing::AdHoc{}}, "/bin/sh", {"CODE_SIGN_STYLE=Manual", "CODE_SIGN_IDENTITY=-"}}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(XcodeArchiveService::signingArguments(row.signing, row.keyPath), row.arguments);
    }
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

struct ArchiveFailureCase {
    std::string_view name;
    const char* steps;
    const char* failure;
};

class ArchiveFailure : public XcodeArchiveServiceTest,
                       public testing::WithParamInterface<ArchiveFailureCase> {};

TEST_P(ArchiveFailure, carriesTheLinesAndIsNotRepeated) {
    tools.script("xcodebuild archive", {GetParam().steps});
    EXPECT_EQ(descriptionThrown<XcodeArchiveError>([&] {
                  service.archive(project, ProjectType::workspace, "Demo", {Signing::Automatic{key}}, {});
              }),
              GetParam().failure);
    EXPECT_EQ(tools.calls().size(), 1u);
    EXPECT_THAT(tools.leftovers(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    XcodeArchiveService, ArchiveFailure,
    testing::Values(
        ArchiveFailureCase{
            "exitCode",
            R"([{"write": ["{archive}/Info.plist", ""]}, {"err": "error: B\n"}, {"out": "A\n\n"},
                               {"exit": 65}])",
            "Archive failed: A\n\nerror: B"},
        ArchiveFailureCase{"profileMissing",
                           R"([{"err": "\"Demo\" requires a provisioning profile. Select one.\n"},
                                                 {"exit": 65}])",
                           "\"Demo\" requires a provisioning profile. Select one."},
        ArchiveFailureCase{"binary", R"([{"out": "a\udcffb\n"}, {"exit": 65}])", "Archive failed: a\ufffdb"}),
    CaseName());

TEST_F(XcodeArchiveServiceTest, startsNothingForAMissingProject) {
    const std::string text = "Project not found at /no/such.xcodeproj";
    const auto type = ProjectType::project;
    EXPECT_EQ(descriptionThrown<XcodeArchiveError>(
                  [&] { service.archive("/no/such.xcodeproj", type, "D", {}, {}); }),
              text);
    EXPECT_EQ(descriptionThrown<XcodeArchiveError>(
                  [&] { service.bundleIdentifier("/no/such.xcodeproj", type, "D"); }),
              text);
    EXPECT_EQ(descriptionThrown<XcodeArchiveError>([&] { service.listSchemes("/no/such.xcodeproj", type); }),
              text);
    EXPECT_THAT(tools.calls(), IsEmpty());
}

} // namespace
} // namespace halvo
