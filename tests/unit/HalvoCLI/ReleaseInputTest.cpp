#include "Commands/Release/ReleaseInput.h"

#include "CommandLine/CIEnvironment.h"
#include "Output/CLIError.h"

#include <Support/CaseName.h>
#include <Support/TemporaryFolder.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using Kind = ReleaseInput::Kind;

template<typename Action>
std::string failureOf(Action action) {
    try {
        action();
    } catch (const CLIError& error) {
        return error.code + ": " + error.description();
    } catch (const Failure& failure) {
        return failure.description();
    }
    return "";
}

TEST(CIEnvironment, isActiveForThreeWordsInAnyCase) {
    for (const char* value : {"true", "TRUE", "Yes", "yes", "1"})
        EXPECT_TRUE(CIEnvironment::isActive({{"CI", value}})) << value;
    for (const char* value : {"", "0", "false", "no", "on", "2", " true", "truee"})
        EXPECT_FALSE(CIEnvironment::isActive({{"CI", value}})) << value;
    EXPECT_FALSE(CIEnvironment::isActive({}));
    EXPECT_FALSE(CIEnvironment::isActive({{"ci", "true"}, {"CIRCLE", "1"}}));
}

TEST(BuildNumber, takesPositiveIntegersAndTwoWords) {
    using Explicit = BuildNumber::Explicit;
    EXPECT_EQ(BuildNumber::parse("Auto"), BuildNumber{BuildNumber::Auto{}});
    EXPECT_EQ(BuildNumber::parse("TIMESTAMP"), BuildNumber{BuildNumber::Timestamp{}});
    EXPECT_EQ(BuildNumber::parse("42"), BuildNumber{Explicit{42}});
    EXPECT_EQ(BuildNumber::parse("+7"), BuildNumber{Explicit{7}});
    EXPECT_EQ(BuildNumber::parse("9223372036854775807"), BuildNumber{Explicit{INT64_MAX}});
    for (const char* text :
         {"", "0", "-1", "-0", "abc", "1.0", "1 ", " 1", "0x10", "9223372036854775808", "automatic"})
        EXPECT_EQ(BuildNumber::parse(text), std::nullopt) << text;
}

TEST(BuildNumber, resolvesTheTimestampInUTC) {
    const Date now = *parseISO8601("2026-11-22T23:59:07.9+01:00");
    EXPECT_EQ(BuildNumber::parse("timestamp")->resolve(now), 20261122225907);
    EXPECT_EQ(BuildNumber::parse("5")->resolve(now), 5);
    EXPECT_EQ(BuildNumber::parse("auto")->resolve(now), std::nullopt);
}

struct ChannelRow {
    const char* name;
    std::optional<std::string> channel;
    bool beta;
    std::optional<std::string> resolved;
    const char* failure;
};

class ResolvedChannel : public testing::TestWithParam<ChannelRow> {};

TEST_P(ResolvedChannel, agreesWithBothOptions) {
    const ChannelRow& row = GetParam();
    std::optional<std::string> resolved;
    const std::string failure = failureOf([&] { resolved = resolveChannel(row.channel, row.beta); });
    EXPECT_EQ(resolved, row.resolved);
    EXPECT_EQ(failure, row.failure);
}

INSTANTIATE_TEST_SUITE_P(
    ReleaseInput, ResolvedChannel,
    testing::Values(
        ChannelRow{"none", {}, false, {}, ""}, ChannelRow{"betaFlag", {}, true, "beta", ""},
        ChannelRow{"channel", "nightly", false, "nightly", ""},
        ChannelRow{"bothAgree", "beta", true, "beta", ""}, ChannelRow{"trimmed", " beta ", true, "beta", ""},
        ChannelRow{"stable", "stable", false, {}, ""}, ChannelRow{"empty", "", false, {}, ""},
        ChannelRow{"conflict",
                   "nightly",
                   true,
                   {},
                   "invalid_argument: --channel nightly conflicts with --beta. Pass only one."},
        ChannelRow{"stableConflicts",
                   "stable",
                   true,
                   {},
                   "invalid_argument: --channel stable conflicts with --beta. Pass only one."},
        ChannelRow{
            "badName",
            "Not OK",
            false,
            {},
            "Channel name must be lowercase alphanumeric with internal hyphens (e.g. beta, nightly-build)."}),
    test::CaseName());

TEST(ReleaseInput, isClassifiedByItsExtensionAlone) {
    const std::pair<const char*, Kind> cases[] = {
        {"Demo.app", Kind::bundle},          {"a/Demo.dmg", Kind::bundle},
        {"Demo.zip", Kind::bundle},          {"Demo", Kind::bundle},
        {"Demo.app/", Kind::bundle},         {"Demo.xcarchive", Kind::archive},
        {"Demo.xcarchive/", Kind::archive},  {"Demo.xcodeproj", Kind::project},
        {"Demo.xcworkspace", Kind::project},
    };
    for (const auto& [path, kind] : cases)
        EXPECT_EQ(resolveReleaseInput(path, "/work dir").kind, kind) << path;
    EXPECT_EQ(resolveReleaseInput("a/Demo.app", "/work dir").url, URL::file("/work dir/a/Demo.app"));
    EXPECT_EQ(resolveReleaseInput("/abs/Demo.app", "/work dir").url, URL::file("/abs/Demo.app"));
}

TEST(ReleaseInput, discoversOnlyAProjectInTheDirectory) {
    const test::TemporaryFolder folder;
    const std::string nothing =
        "missing_argument: No path provided and no .xcodeproj found in current directory";
    folder.write("Other.xcworkspace/contents", "");
    folder.write("below/Demo.xcodeproj/project.pbxproj", "");
    EXPECT_EQ(failureOf([&] { resolveReleaseInput({}, folder.path()); }), nothing);
    EXPECT_EQ(failureOf([&] { resolveReleaseInput({}, folder / "missing"); }), nothing);
    folder.write("B.xcodeproj/project.pbxproj", "");
    folder.write("A.xcodeproj/project.pbxproj", "");
    const ReleaseInput found = resolveReleaseInput({}, folder.path());
    EXPECT_EQ(found.url, URL::file(folder / "A.xcodeproj"));
    EXPECT_EQ(found.kind, Kind::project);
}

TEST(ReleaseInput, refusesOptionsThatNeedAnotherInput) {
    const std::string needsProject =
        "invalid_argument: --build-number/--marketing-version/--bundle-id require building from an Xcode "
        "project or workspace";
    const std::string needsArchive =
        "invalid_argument: --provisioning-profile requires an Xcode project, workspace, or archive";
    const auto check = [](const ReleaseOptions& options, Kind kind) {
        return failureOf([&] { checkOptionsAgainstInput(options, kind); });
    };
    const ReleaseOptions forProjects[] = {
        {.buildNumber = BuildNumber()}, {.marketingVersion = "1.0"}, {.bundleId = "x"}};
    for (const ReleaseOptions& options : forProjects) {
        EXPECT_EQ(check(options, Kind::bundle), needsProject);
        EXPECT_EQ(check(options, Kind::archive), needsProject);
        EXPECT_EQ(check(options, Kind::project), "");
    }
    const ReleaseOptions profile{.provisioningProfile = "x.provisionprofile"};
    EXPECT_EQ(check(profile, Kind::bundle), needsArchive);
    EXPECT_EQ(check(profile, Kind::archive), "");
    EXPECT_EQ(check(profile, Kind::project), "");
}

TEST(ReleaseInput, expandsALeadingTilde) {
    EXPECT_EQ(expandingTilde("~", "/home/jane"), "/home/jane");
    EXPECT_EQ(expandingTilde("~/out", "/home/jane"), "/home/jane/out");
    for (const char* path : {"~jane/out", "a/~", "out", ""})
        EXPECT_EQ(expandingTilde(path, "/home/jane"), path);
}

} // namespace
} // namespace halvo
