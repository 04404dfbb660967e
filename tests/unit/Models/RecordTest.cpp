#include <Models/App.h>
#include <Models/BundleInfo.h>
#include <Models/Channel.h>
#include <Models/ReleaseSettings.h>
#include <Models/ReleaseVersionOverride.h>
#include <Models/XcodeBuildConfiguration.h>

#include <Support/TemporaryFolder.h>

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

TEST(Release, sortsByBuildNumberAndKeepsTheOrderOfEquals) {
    const auto sorted = sortedByBundleVersion({{.title = "a", .bundleVersion = 2},
                                               {.title = "b", .bundleVersion = 10},
                                               {.title = "c", .bundleVersion = 2},
                                               {.title = "d", .bundleVersion = -1}});
    std::string order;
    for (const Release& release : sorted)
        order += release.title;
    EXPECT_EQ(order, "bacd");
    EXPECT_EQ((Release{.bundleVersion = 42, .bundleVersionString = "2.1.0"}.versionDescription()),
              "2.1.0 (42)");
}

TEST(Release, numbersTheNextBuild) {
    constexpr auto largest = std::numeric_limits<std::int64_t>::max();
    EXPECT_EQ(nextBundleVersion({}), 1);
    EXPECT_EQ(nextBundleVersion({{.bundleVersion = 9}, {.bundleVersion = 41}, {.bundleVersion = 10}}), 42);
    EXPECT_THROW(nextBundleVersion({{.bundleVersion = largest}}), Failure);
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
    const auto failure = [](const std::string& name) -> std::optional<ChannelError::Case> {
        try {
            (void)Channel::normalize(name);
        } catch (const ChannelError& error) {
            return error.which;
        }
        return std::nullopt;
    };
    for (const char* name : {"Stable", "-beta", "beta-", "-", "beta_1", "be ta", "b\u00e9ta", "beta\n1"})
        EXPECT_EQ(failure(name), ChannelError::Case(ChannelError::InvalidFormat())) << name;
    EXPECT_EQ(failure(std::string(51, 'A')), ChannelError::Case(ChannelError::TooLong{50}));
    EXPECT_EQ(failure("unreleased"), ChannelError::Case(ChannelError::Reserved{"unreleased"}));
    std::string accents;
    for (int count = 0; count < 30; ++count)
        accents += "\u00e9"; // 60 bytes, 30 characters
    EXPECT_EQ(failure(accents), ChannelError::Case(ChannelError::InvalidFormat()));
    EXPECT_THROW(Channel::validate(""), ChannelError);
    EXPECT_THROW(Channel::validate("beta\n"), ChannelError);

    EXPECT_EQ(ChannelError(ChannelError::TooLong{50}).description(),
              "Channel name must be at most 50 characters.");
    EXPECT_EQ(ChannelError(ChannelError::Reserved{"x"}).description(),
              "Channel name 'x' is reserved and cannot be used.");
    EXPECT_EQ(
        ChannelError(ChannelError::InvalidFormat()).description(),
        "Channel name must be lowercase alphanumeric with internal hyphens (e.g. beta, nightly-build).");
}

TEST(ReleaseVersionOverride, asksTheBuildForItsVersions) {
    using Map = std::map<std::string, std::string>;
    EXPECT_EQ(ReleaseVersionOverride().buildSettings(), Map());
    EXPECT_TRUE(ReleaseVersionOverride().isEmpty());
    const ReleaseVersionOverride both{.buildNumber = 42, .marketingVersion = "2.1.0"};
    EXPECT_EQ(both.buildSettings(), (Map{{"CURRENT_PROJECT_VERSION", "42"}, {"MARKETING_VERSION", "2.1.0"}}));
    EXPECT_FALSE(both.isEmpty());
}

TEST(ReleaseVersionOverride, reportsEveryMismatch) {
    const ReleaseVersionOverride both{.buildNumber = 42, .marketingVersion = "2.1.0"};
    const auto ignored = [&](const BundleInfo& info) {
        ReleaseVersionOverrideError::Ignored result;
        try {
            both.verify(info);
        } catch (const ReleaseVersionOverrideError& error) {
            result = std::get<ReleaseVersionOverrideError::Ignored>(error.which);
        }
        return result;
    };
    using Mismatch = ReleaseVersionOverrideError::Mismatch;
    EXPECT_NO_THROW(both.verify({.version = 42, .versionString = "2.1.0"}));
    EXPECT_NO_THROW(ReleaseVersionOverride().verify({.version = 1}));
    const auto twice = ignored({.version = 1, .versionString = "1.0"});
    EXPECT_EQ(twice.buildNumber, (Mismatch{"42", "1"}));
    EXPECT_EQ(twice.marketingVersion, (Mismatch{"2.1.0", "1.0"}));
    const auto once = ignored({.version = 42, .versionString = "1.0"});
    EXPECT_EQ(once.buildNumber, std::nullopt);
    EXPECT_EQ(once.marketingVersion, (Mismatch{"2.1.0", "1.0"}));
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
