#include "ReleaseFixture.h"

#include <Base/Base64.h>
#include <Base/PropertyList.h>
#include <Base/Text.h>
#include <Support/CaseName.h>
#include <Support/FaultServer.h>
#include <Support/TestData.h>

namespace halvo::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;
using testing::StartsWith;

constexpr const char* needsProfile =
    R"([{"err": "error: \"Demo\" requires a provisioning profile. Select one.\n"}, {"exit": 65}])";
constexpr const char* archives = R"([{"archive": {}}, {"out": "** ARCHIVE SUCCEEDED **\n"}])";
constexpr const char* exports = R"([{"export": true}])";
const std::string identity = "Developer ID Application: Jane Doe (ABCDE12345)";
const std::string uuid = "0F2C3F5E-0000-4000-8000-0123456789AB";
const Variables apiKey{
    {"ASC_API_KEY_ID", "KEY1"}, {"ASC_API_ISSUER", "issuer-1"}, {"ASC_API_KEY", "cDgga2V5"}};

/// Releases of an Xcode project, with scripted tools of Apple's in the place of the real ones.
class ProjectRelease : public ReleaseTest {
protected:
    ProjectRelease() {
        std::filesystem::create_directories(work / "Demo.xcodeproj");
        useTools(tools);
        secrets.emplace_back("p8 key");
        folder.write("work/Demo.provisionprofile", "signed profile");
    }

    /// Builds the project and packs it for this machine alone.
    Outcome build(const Arguments& arguments = {}, const Variables& changes = {}) {
        Arguments all{"Demo.xcodeproj", "--scheme", "Demo", "--skip-notarization", "--output", "out"};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return release(all, changes);
    }

    /// Makes `security` open every profile as this one.
    void holdProfile(PropertyListDictionary changes = {}) {
        PropertyListDictionary profile{
            {"Name", "Demo Profile"},
            {"UUID", uuid},
            {"TeamIdentifier", PropertyListArray{"ABCDE12345"}},
            {"DeveloperCertificates", PropertyListArray{readTestData("HalvoNotarization/developer-id.der")}},
            {"Entitlements",
             PropertyListDictionary{{"com.apple.application-identifier", "ABCDE12345.com.example.demo"}}}};
        changes.merge(profile);
        tools.write("profile.plist", viewText(PropertyList(std::move(changes)).xml()));
        tools.script("security cms", {R"([{"file": "{here}/profile.plist"}])"});
    }

    std::vector<ScriptedCall> exportCalls() const {
        std::vector<ScriptedCall> calls = tools.calls();
        std::erase_if(calls, [](const ScriptedCall& call) { return call.exportOptions.empty(); });
        return calls;
    }

    std::vector<std::string> temporaryNames() const {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(temporary))
            names.push_back(entry.path().filename());
        std::ranges::sort(names);
        return names;
    }

    ScriptedTools tools;
};

/// The one JSON document of a failure.
void expectReport(const Outcome& outcome, const std::string& code,
                  const testing::Matcher<std::string>& message) {
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.output, EndsWith("}\n"));
    const auto report = nlohmann::json::parse(outcome.output);
    EXPECT_EQ(report.at("code"), code);
    EXPECT_THAT(report.at("message").get<std::string>(), message);
    EXPECT_EQ(report.size(), 2U);
    EXPECT_THAT("\n" + outcome.error,
                HasSubstr("\nError: " + report.at("message").get<std::string>() + "\n"));
}

constexpr const char* archivesNeedDMG =
    "Release failed: Xcode archives require DMG format to be enabled. Archives need to be exported and codesigned, which is only supported with DMG packaging. Please enable DMG in your release settings.";

TEST_F(ProjectRelease, archivesWithoutSigningAndRemovesTheArchive) {
    expectReport(build({"--format", "json"}), "release_failed", archivesNeedDMG);
    const auto calls = tools.argumentsOf("xcodebuild archive");
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_THAT(calls[0], Contains("CODE_SIGN_IDENTITY=-"));
    EXPECT_THAT(calls[0], testing::Not(Contains(HasSubstr("_VERSION="))));
    EXPECT_FALSE(std::filesystem::exists(work / "out"));
}

struct LadderCase {
    const char* name;
    Arguments arguments;
    Variables variables;
    const char* line; ///< what the step shows before the second attempt
    Arguments signing;
};

class SigningLadder : public ProjectRelease, public testing::WithParamInterface<LadderCase> {};

TEST_P(SigningLadder, archivesAnewWithWhatMayProvideAProfile) {
    const LadderCase& row = GetParam();
    tools.script("xcodebuild archive", {needsProfile, archives});
    holdProfile();
    Arguments arguments = row.arguments;
    arguments.insert(arguments.end(), {"--format", "json"});
    const Outcome outcome = build(arguments, row.variables);
    expectReport(outcome, "release_failed", archivesNeedDMG);
    EXPECT_THAT(outcome.error, HasSubstr("\n" + std::string(row.line) + "\n"));
    EXPECT_THAT(outcome.error, HasSubstr(" Xcode archive created ("));
    const auto calls = tools.argumentsOf("xcodebuild archive");
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_THAT(calls[0], Contains("CODE_SIGN_IDENTITY=-"));
    const Arguments signing(calls[1].begin() + 6, calls[1].end() - 1);
    ASSERT_THAT(signing, SizeIs(row.signing.size()));
    for (std::size_t index = 0; index < signing.size(); ++index)
        if (!row.signing[index].empty()) {
            EXPECT_EQ(signing[index], row.signing[index]);
        }
}

constexpr const char* withProfile =
    "Entitlements require a provisioning profile; retrying with the provided profile";
const Arguments profileSigning{
    "CODE_SIGN_STYLE=Manual", "CODE_SIGN_IDENTITY=" + identity, "HALVO_PROFILE_com_example_demo=" + uuid,
    "PROVISIONING_PROFILE_SPECIFIER=$(HALVO_PROFILE_$(PRODUCT_BUNDLE_IDENTIFIER:c99extidentifier))",
    "DEVELOPMENT_TEAM=ABCDE12345"};

INSTANTIATE_TEST_SUITE_P(
    ProjectRelease, SigningLadder,
    testing::Values(
        LadderCase{"profile",
                   {"--provisioning-profile", "Demo.provisionprofile"},
                   apiKey, // which the profile outranks
                   withProfile,
                   profileSigning},
        LadderCase{"profileOfTheEnvironment",
                   {"--non-interactive"},
                   {{"HALVO_PROVISIONING_PROFILE", "c2lnbmVk\n"}},
                   withProfile,
                   profileSigning},
        LadderCase{
            "apiKey",
            {"--non-interactive"},
            apiKey,
            "Entitlements require a provisioning profile; retrying with App Store Connect API-key provisioning",
            {"-allowProvisioningUpdates", "-authenticationKeyPath", "", "-authenticationKeyID", "KEY1",
             "-authenticationKeyIssuerID", "issuer-1"}},
        LadderCase{"projectsSigning",
                   {},
                   {},
                   "Entitlements require a provisioning profile; retrying with the project's signing",
                   {"-allowProvisioningUpdates"}}),
    CaseName());

TEST_F(ProjectRelease, saysWhatIsMissingWhenTheLadderRanOut) {
    tools.script("xcodebuild archive", {needsProfile});
    const std::string reported =
        "\n\nxcodebuild reported:\nerror: \"Demo\" requires a provisioning profile. Select one.";
    const auto required = testing::AllOf(
        StartsWith("The app's entitlements require a provisioning profile. "), EndsWith(reported));
    expectReport(build({"--format", "json", "--non-interactive"}), "provisioning_profile_required", required);
    EXPECT_THAT(tools.argumentsOf("xcodebuild archive"), SizeIs(1));
    expectReport(build({"--format", "json"}), "provisioning_profile_required", required);
    EXPECT_THAT(tools.argumentsOf("xcodebuild archive"), SizeIs(3));

    holdProfile();
    const Arguments withFile{"--format", "json", "--provisioning-profile", "Demo.provisionprofile"};
    expectReport(
        build(withFile), "provisioning_profile_mismatch",
        testing::AllOf(StartsWith("The provisioning profile is for com.example.demo, so Halvo gives"),
                       EndsWith(reported)));
    holdProfile({{"Entitlements", PropertyListDictionary{}}}); // a wildcard names no app
    expectReport(build(withFile), "provisioning_profile_required", required);
}

TEST_F(ProjectRelease, doesNotTryAgainAfterAnotherFailure) {
    tools.script("xcodebuild archive",
                 {R"([{"out": "CompileSwift"}, {"err": "error: no such module\n"}, {"exit": 65}])"});
    expectReport(build({"--format", "json"}, apiKey), "release_failed",
                 "Release failed: Archive failed: CompileSwift\nerror: no such module");
    EXPECT_THAT(tools.argumentsOf("xcodebuild archive"), SizeIs(1));
}

TEST_F(ProjectRelease, stopsWhenTheAppDoesNotCarryTheRequestedVersions) {
    tools.script("xcodebuild archive", {R"([{"archive": {"CFBundleVersion": "3"}}])"});
    expectReport(
        build({"--format", "json", "--build-number", "12", "--marketing-version", "1.3"}),
        "build_version_override_ignored",
        StartsWith(
            "Requested build number 12 but the archived app has 3.\nxcodebuild ignored CURRENT_PROJECT_VERSION"));
}

struct BuildNumberCase {
    const char* name;
    Arguments arguments;
    const char* number; ///< an extended regular expression
    const char* shown;
    std::size_t queries; ///< how often xcodebuild is asked for the bundle identifier
};

class BuildNumbers : public ProjectRelease, public testing::WithParamInterface<BuildNumberCase> {};

/// Items of two versions; the second is a draft.
constexpr const char* feed =
    R"(<rss xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle"><channel>
<item><title>1.1</title><pubDate>Thu, 02 Jan 2025 10:00:00 +0000</pubDate><sparkle:version>12</sparkle:version>
<sparkle:shortVersionString>1.1</sparkle:shortVersionString>
<enclosure url="https://dl.example.com/files/a.zip" length="1" sparkle:edSignature="x"/></item>
<item><title>2.0</title><pubDate>Thu, 02 Jan 2025 10:00:00 +0000</pubDate><sparkle:version>41</sparkle:version>
<sparkle:shortVersionString>2.0</sparkle:shortVersionString><sparkle:channel>unreleased</sparkle:channel>
<enclosure url="https://dl.example.com/files/b.zip" length="1" sparkle:edSignature="x"/></item>
</channel></rss>)";

TEST_P(BuildNumbers, reachXcodebuildAndThePerson) {
    const BuildNumberCase& row = GetParam();
    useStore();
    putObject("appcast.xml", feed);
    const Outcome outcome = build(row.arguments);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.output, EndsWith(std::string(archivesNeedDMG) + "\n"));
    EXPECT_THAT(outcome.output, testing::ContainsRegex("\nVersion Override\nBuild Number  +" +
                                                       std::string(row.shown) + "\n"));
    const auto calls = tools.argumentsOf("xcodebuild archive");
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_THAT(calls[0], Contains(testing::ContainsRegex(
                              "^CURRENT_PROJECT_VERSION=" + std::string(row.number) + "$")));
    EXPECT_THAT(tools.argumentsOf("xcodebuild -showBuildSettings"), SizeIs(row.queries));
}

INSTANTIATE_TEST_SUITE_P(
    ProjectRelease, BuildNumbers,
    testing::Values(
        BuildNumberCase{"explicitly", {"--build-number", "12"}, "12", "12", 0},
        BuildNumberCase{
            "timestamp", {"--build-number", "timestamp"}, "20[0-9]{12}", "20[0-9]{12} \\(timestamp\\)", 0},
        BuildNumberCase{"oneAfterTheDraft", {"--build-number", "auto"}, "42", "42 \\(auto\\)", 1},
        BuildNumberCase{"identifierGiven",
                        {"--build-number", "auto", "--bundle-id", "com.example.demo"},
                        "42",
                        "42 \\(auto\\)",
                        0}),
    CaseName());

TEST_F(ProjectRelease, needsAnAnswerForAnAutomaticBuildNumber) {
    const Outcome unreachable = build({"--format", "json", "--build-number", "auto"});
    expectReport(unreachable, "release_failed",
                 testing::AllOf(StartsWith("Could not determine the highest released build number: "),
                                EndsWith(" Pass an explicit --build-number to release anyway.")));
    EXPECT_THAT(unreachable.error, HasSubstr("\nFetching released builds for com.example.Demo\n"));
    expectReport(build({"--format", "json", "--build-number", "auto"}, {{"AWS_ACCESS_KEY_ID", ""}}),
                 "app_not_configured", StartsWith("No S3 credentials found."));
    expectReport(build({"--format", "json", "--build-number", "auto"}, {{"HALVO_S3_BUCKET", ""}}),
                 "not_authenticated", StartsWith("Not logged in."));
    EXPECT_THAT(tools.argumentsOf("xcodebuild archive"), IsEmpty());
}

TEST_F(ProjectRelease, numbersTheNextBuildOfAHostedApp) {
    const std::string id = "0F2C3F5E-0000-4000-8000-0123456789AB";
    const nlohmann::json draft{{"id", id},
                               {"title", "1.1 (41)"},
                               {"bundleVersion", 41},
                               {"bundleVersionString", "1.1"},
                               {"releaseNotes", ""},
                               {"minimumSystemVersion", "13.0"},
                               {"fileSize", 1},
                               {"isPhasedRollout", false},
                               {"isCritical", false},
                               {"isPublished", false}};
    const nlohmann::json app{{"id", id},
                             {"name", "Demo"},
                             {"bundleIdentifier", "com.example.Demo"},
                             {"appcastURL", "https://dl.example.com/a.xml"},
                             {"stripeManagedPayments", false},
                             {"releases", {draft}}};
    const ServerReply apps{.body = nlohmann::json::array({app}).dump()};
    const FaultServer service({apps, apps});
    build({"--build-number", "auto"},
          {{"HALVO_S3_BUCKET", ""}, {"HALVO_SERVER_URL", service.url()}, {"HALVO_TOKEN", "token"}});
    const auto calls = tools.argumentsOf("xcodebuild archive");
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_THAT(calls[0], Contains("CURRENT_PROJECT_VERSION=42"));
}

TEST_F(ProjectRelease, installsTheProfileOfTheEnvironmentAndLeavesNoCopy) {
    holdProfile();
    build({}, {{"HALVO_PROVISIONING_PROFILE", "c2lnbmVk\n"}});
    for (const char* place :
         {"MobileDevice/Provisioning Profiles", "Developer/Xcode/UserData/Provisioning Profiles"})
        EXPECT_EQ(readText(home / "Library" / place / (uuid + ".provisionprofile")), "signed") << place;
}

TEST_F(ProjectRelease, stopsForAProfileThatCannotServe) {
    holdProfile({{"UUID", 7}});
    const auto expectRefusal = [&](const char* file, const char* variable, const std::string& message) {
        expectReport(build({"--format", "json", "--provisioning-profile", file},
                           {{"HALVO_PROVISIONING_PROFILE", variable}}),
                     "invalid_argument", message);
    };
    expectRefusal("None.provisionprofile", "",
                  "Provisioning profile not found at " + (work / "None.provisionprofile").string());
    expectRefusal(
        "", "*",
        "HALVO_PROVISIONING_PROFILE is not valid base64. Encode the profile with `base64 < profile.provisionprofile | pbcopy`.");
    expectRefusal("",
                  "eA==", "Provisioning profile \"Demo Profile\" has no UUID; the file appears malformed.");
    EXPECT_THAT(tools.argumentsOf("xcodebuild archive"), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(home / "Library"));
}

/// With a disk image to build, so that the archive is exported.
const Arguments toDMG{"--format", "json", "--codesign-identity", identity};

TEST_F(ProjectRelease, exportsAnewWithTheKeyAndBuildsADiskImage) {
    tools.script("xcodebuild -exportArchive", {needsProfile, exports});
    const Outcome outcome = build(toDMG, apiKey);
    EXPECT_EQ(outcome.status, 0) << outcome.error;
    EXPECT_THAT(
        outcome.error,
        HasSubstr(
            "\nEntitlements require a provisioning profile; retrying export with App Store Connect API-key provisioning\n"));
    const auto result = nlohmann::json::parse(outcome.output);
    EXPECT_EQ(result.at("path"), (work / "out/Demo-1.2.dmg").string());
    EXPECT_EQ(result.at("format"), "dmg");
    EXPECT_EQ(result.at("fileSize"), std::filesystem::file_size(work / "out/Demo-1.2.dmg"));
    const auto calls = exportCalls();
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_THAT(calls[0].exportOptions, HasSubstr("<string>manual</string>"));
    EXPECT_THAT(calls[1].exportOptions, HasSubstr("<string>automatic</string>"));
    ASSERT_TRUE(calls[1].key);
    EXPECT_EQ(calls[1].key->content, "p8 key");
    EXPECT_THAT(tools.argumentsOf("xcodebuild archive"), SizeIs(1));
}

TEST_F(ProjectRelease, keepsArchiveAndFolderOfAFailedExport) {
    mayLeaveTemporaryFiles = true;
    tools.script("xcodebuild -exportArchive", {needsProfile});
    const Outcome outcome = build(toDMG, apiKey);
    const auto names = temporaryNames();
    ASSERT_THAT(names, ElementsAre(MatchesRegex("Demo-.*\\.xcarchive"), StartsWith("HalvoExport-")));
    const std::string archive = temporary / names[0];
    expectReport(outcome, "provisioning_profile_required",
                 EndsWith("requires a provisioning profile. Select one."));
    EXPECT_THAT(outcome.error, EndsWith("\nThe export folder stays at " + (temporary / names[1]).string() +
                                        ".\nThe archive stays at " + archive + ".\n"));
    EXPECT_THAT(tools.argumentsOf("xcodebuild -exportArchive"), SizeIs(2));
    script("ls \"$1/Products/Applications/Demo.app/Contents/Info.plist\"", {archive});
}

TEST_F(ProjectRelease, exportsWithTheGivenProfileAndNoKeyAfterIt) {
    mayLeaveTemporaryFiles = true;
    holdProfile();
    tools.script("xcodebuild -exportArchive", {needsProfile});
    Arguments arguments = toDMG;
    arguments.insert(arguments.end(), {"--provisioning-profile", "Demo.provisionprofile"});
    expectReport(build(arguments, apiKey), "provisioning_profile_required", testing::_);
    const auto calls = exportCalls();
    ASSERT_THAT(calls, SizeIs(1));
    EXPECT_THAT(calls[0].exportOptions,
                testing::ContainsRegex("<key>com.example.demo</key>[ \t\n]*<string>" + uuid));
}

} // namespace
} // namespace halvo::test
