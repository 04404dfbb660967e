#include <Models/App.h>
#include <Models/Artifact.h>
#include <Models/BundleInfo.h>
#include <Models/Channel.h>
#include <Models/ReleaseSettings.h>
#include <Models/ReleaseVersionOverride.h>
#include <Models/XcodeBuildConfiguration.h>

#include <Support/TemporaryFolder.h>
#include <Support/Thrown.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

URL url(const std::string& text) { return URL::parse(text).value(); }

LocalApp localApp(std::vector<Release> releases, std::optional<std::string> prefix = "apps/x") {
    return {.name = "My App",
            .storage = {S3Configuration{.bucket = "b",
                                        .region = "auto",
                                        .pathPrefix = std::move(prefix),
                                        .publicBaseURL = url("https://cdn.example.com/base"),
                                        .appcastPath = "appcast.xml"}},
            .releases = std::move(releases)};
}

TEST(S3Configuration, putsThePrefixBeforeEveryKey) {
    for (const auto& [prefix, key] :
         {std::pair<std::optional<std::string>, const char*>{"apps/x", "apps/x/a.dmg"},
          {"", "a.dmg"},
          {std::nullopt, "a.dmg"},
          {"x/", "x//a.dmg"}}) {
        const LocalApp app = localApp({}, prefix);
        EXPECT_EQ(app.storage.s3().s3Key("a.dmg"), key);
    }
    EXPECT_EQ(localApp({}).appcastURL(), url("https://cdn.example.com/base/apps/x/appcast.xml"));
    EXPECT_TRUE(localApp({}).storage.isValid());
    EXPECT_FALSE(StorageConfiguration().isValid());
}

TEST(Artifact, hasASafeNameAndAMediaType) {
    EXPECT_EQ(artifactName("..a/b\n"), "a-b-");
    EXPECT_EQ(artifactName(".."), "App");
    EXPECT_EQ(contentType("dmg"), "application/x-apple-diskimage");
    EXPECT_EQ(contentType("ZIP"), "application/zip");
    EXPECT_EQ(contentType("exotic"), "application/octet-stream");
}

TEST(LocalApp, downloadsTheNewestRelease) {
    const Release old{.bundleVersion = 2, .downloadURL = url("https://x/My-2.dmg")};
    const Release newest{.bundleVersion = 10, .downloadURL = url("https://x/My-10.zip?v=3")};
    EXPECT_EQ(localApp({old, newest}).downloadURL(), url("https://cdn.example.com/base/apps/x/My%20App.zip"));
    EXPECT_EQ(localApp({}).downloadURL(), std::nullopt);
    EXPECT_EQ(localApp({old, Release{.bundleVersion = 3}}).downloadURL(), std::nullopt);
}

TEST(ServerApp, downloadsFromTheHostOfItsAppcast) {
    ServerApp app{.bundleIdentifier = "com.example.demo"};
    EXPECT_EQ(app.downloadURL(), url("https://api.halvo.example/v1/apps/com.example.demo/download"));
    app.appcastURL = url("http://updates.example.org:8080/appcast.xml");
    EXPECT_EQ(app.downloadURL(), url("https://updates.example.org/v1/apps/com.example.demo/download"));
    app.appcastURL = url("file:///appcast.xml");
    EXPECT_EQ(app.downloadURL().host(), "api.halvo.example");
}

TEST(Release, sortsByBuildNumberAndNumbersTheNextBuild) {
    const std::vector<Release> releases{{.title = "a", .bundleVersion = 2},
                                        {.title = "b", .bundleVersion = 10},
                                        {.title = "c", .bundleVersion = 2},
                                        {.title = "d", .bundleVersion = -1}};
    std::string order;
    for (const Release& release : sortedByBundleVersion(releases))
        order += release.title;
    EXPECT_EQ(order, "bacd"); // equal ones keep their order
    EXPECT_EQ(nextBundleVersion(releases), 11);
    EXPECT_EQ(nextBundleVersion({}), 1);
    EXPECT_THROW(nextBundleVersion({{.bundleVersion = INT64_MAX}}), Failure);
    EXPECT_EQ((Release{.bundleVersion = 42, .bundleVersionString = "2.1.0"}.versionDescription()),
              "2.1.0 (42)");
}

TEST(ReleaseSettings, decideOnNotarizationAndFormat) {
    ReleaseSettings settings{.codesignIdentity = {.hash = "AB"}, .keychainProfile = "p"};
    EXPECT_EQ(settings.notarizationPolicy(),
              NotarizationPolicy::notarize({NotarizationCredentials::KeychainProfile{"p"}}));
    const PackageFormat image = settings.packageFormat(true, url("file:///b.png"));
    EXPECT_EQ(image.fileExtension(), "dmg");
    EXPECT_EQ(image, PackageFormat{(PackageFormat::DMG{{.hash = "AB"}, true, url("file:///b.png")})});
    settings.keychainProfile = "";
    settings.dmgEnabled = false;
    EXPECT_EQ(settings.notarizationPolicy(), NotarizationPolicy::skip());
    EXPECT_EQ(settings.notarizationPolicy().credentials(), nullptr);
    EXPECT_EQ(settings.packageFormat(true, std::nullopt).fileExtension(), "zip");
}

TEST(Channel, normalisesWhatAPersonTypes) {
    EXPECT_EQ(Channel::normalize("  beta\n"), "beta");
    EXPECT_EQ(Channel::normalize("nightly-build"), "nightly-build");
    EXPECT_EQ(Channel::normalize(std::string(50, 'a')), std::string(50, 'a'));
    for (const char* text : {"", "   ", "stable", "\tstable "})
        EXPECT_EQ(Channel::normalize(text), std::nullopt) << text;
}

TEST(Channel, refusesOtherNames) {
    const auto failure = [](const std::string& name) {
        return test::descriptionThrown<ChannelError>([&] { (void)Channel::normalize(name); });
    };
    const std::string format =
        "Channel name must be lowercase alphanumeric with internal hyphens (e.g. beta, nightly-build).";
    std::string accents;
    for (int count = 0; count < 30; ++count)
        accents += "\u00e9"; // 60 bytes, 30 characters
    for (const std::string& name :
         {std::string("Stable"), std::string("-beta"), std::string("beta-"), std::string("beta_1"),
          std::string("be ta"), std::string("beta\n1"), accents})
        EXPECT_EQ(failure(name), format) << name;
    EXPECT_EQ(failure(std::string(51, 'A')), "Channel name must be at most 50 characters.");
    EXPECT_EQ(failure("unreleased"), "Channel name 'unreleased' is reserved and cannot be used.");
    EXPECT_THROW(Channel::validate(""), ChannelError);
}

TEST(ReleaseVersionOverride, asksTheBuildForItsVersionsAndReportsEveryMismatch) {
    using Map = std::map<std::string, std::string>;
    const ReleaseVersionOverride both{.buildNumber = 42, .marketingVersion = "2.1.0"};
    EXPECT_EQ(ReleaseVersionOverride().buildSettings(), Map());
    EXPECT_EQ(both.buildSettings(), (Map{{"CURRENT_PROJECT_VERSION", "42"}, {"MARKETING_VERSION", "2.1.0"}}));
    EXPECT_TRUE(ReleaseVersionOverride().isEmpty());
    EXPECT_FALSE(both.isEmpty());
    EXPECT_NO_THROW(both.verify({.version = 42, .versionString = "2.1.0"}));
    EXPECT_NO_THROW(ReleaseVersionOverride().verify({.version = 1}));
    const auto failure = [&](const BundleInfo& info) {
        return test::descriptionThrown<ReleaseVersionOverrideError>([&] { both.verify(info); });
    };
    const std::string start = "The build ignored the requested version.";
    const std::string marketing = " Marketing version: requested 2.1.0, built 1.0.";
    EXPECT_EQ(failure({.version = 1, .versionString = "1.0"}),
              start + " Build number: requested 42, built 1." + marketing);
    EXPECT_EQ(failure({.version = 42, .versionString = "1.0"}), start + marketing);
}

TEST(XcodeBuildConfiguration, isValidWhenTheProjectExists) {
    const test::TemporaryFolder folder;
    folder.write("My App.xcodeproj/project.pbxproj", "");
    const URL project = URL::file(folder / "My App.xcodeproj");
    EXPECT_TRUE((XcodeBuildConfiguration{.projectPath = project, .scheme = "s"}.isValid()));
    EXPECT_FALSE((XcodeBuildConfiguration{.projectPath = project}.isValid()));
    EXPECT_FALSE((XcodeBuildConfiguration{.scheme = "s"}.isValid()));
    EXPECT_FALSE(
        (XcodeBuildConfiguration{.projectPath = URL::file(folder / "gone"), .scheme = "s"}.isValid()));
    EXPECT_EQ(projectType(url("file:///a.xcworkspace")), ProjectType::workspace);
    EXPECT_EQ(projectType(url("file:///a.xcodeproj")), ProjectType::project);
}

} // namespace
} // namespace halvo
