#include "CommandRun.h"

#include <Base/Base64.h>
#include <HalvoCore/LocalAppRepository.h>
#include <KeyChain/MacKeyChainStore.h>
#include <Support/CaseName.h>
#include <Support/DemoApp.h>

#include <Ed25519/PrivateKey.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::runCommand;
using test::TestServices;
using testing::HasSubstr;
using testing::Not;

const std::string bundle = "com.example.Demo";
const std::string secret = "the-secret-half";

/// A person who runs `halvo setup` and types.
struct Newcomer : TestServices {
    explicit Newcomer(const std::string& typed, std::map<std::string, std::string> variables = {})
        : TestServices(std::move(variables), test::personsTerminal(), typed) {
        writeDemoApp(folder);
    }

    std::optional<LocalApp> storedApp() {
        UserDefaultsStorageController storage(userDefaults);
        return LocalAppRepository(storage).fetchStored(bundle);
    }
    std::string said() const { return output->text + error->text; }

    MacKeyChainStore keyChain{keychainItems};
};

constexpr const char* downAndEnter = "\x1b[B\r";

TEST(SetupPrompts, askForEverythingOfABucket) {
    Newcomer setup("Demo.app\r" + std::string(downAndEnter) +
                   "bucket\reu-central-1\rhttps://dl.example.com\r\r" + "apps/x\rAKIA\r" + secret + "\r");
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(setup.folder.path());
    const int status = runCommand(setup, {"setup"});
    std::filesystem::current_path(before);
    EXPECT_EQ(status, 0);
    ASSERT_TRUE(setup.storedApp()) << setup.said();
    const LocalApp app = *setup.storedApp();
    const S3Configuration expected{.bucket = "bucket",
                                   .region = "eu-central-1",
                                   .pathPrefix = "apps/x",
                                   .publicBaseURL = *URL::parse("https://dl.example.com"),
                                   .appcastPath = "appcast.xml"};
    EXPECT_EQ(app.storage.s3(), expected);
    EXPECT_EQ(app.name, "Demo");
    EXPECT_EQ(app.edDSAPublicKey,
              PrivateKey(setup.keyChain.storedSparklePrivateKey(bundle).value()).publicKey().baseEncoding());
    EXPECT_EQ(setup.keyChain.getS3Credentials(bundle), (S3Credentials{"AKIA", secret}));
    EXPECT_THAT(setup.said(), Not(HasSubstr(secret)));
    EXPECT_THAT(setup.output->text, HasSubstr("\nAdd these to your app's Info.plist:\nSUFeedURL      "
                                              "https://dl.example.com/apps/x/appcast.xml\nSUPublicEDKey  " +
                                              *app.edDSAPublicKey + "\nSparkle Public Key: "));
    EXPECT_THAT(setup.output->text, HasSubstr("Back up your Sparkle signing key."));
    EXPECT_THAT(setup.output->text,
                HasSubstr("Setup complete! Run `halvo release` to publish your first release.\n"));
}

struct ImportCase {
    const char* name;
    const char* typed;
    bool imports;
};

class SparkleKeyImport : public testing::TestWithParam<ImportCase> {};

TEST_P(SparkleKeyImport, isAskedFor) {
    Newcomer setup(GetParam().typed);
    const std::string toolKey = encodeBase64(Bytes(32, 't'));
    setup.keychainItems.add({.service = "https://sparkle-project.org",
                             .account = "ed25519",
                             .domain = KeychainDomain::login,
                             .protocol = "ssh"},
                            {.data = copyBytes(toolKey)});
    EXPECT_EQ(
        runCommand(setup, {"setup", (setup.folder / "Demo.app").string(), "--hosting", "s3", "--s3-bucket",
                           "bucket", "--s3-region", "us-east-1", "--s3-public-url", "https://dl.example.com",
                           "--s3-access-key-id", "AKIA", "--s3-secret-access-key", secret}),
        0);
    EXPECT_THAT(setup.said(), HasSubstr("Found an existing Sparkle signing key. Import it for this app?"));
    const auto stored = setup.keyChain.storedSparklePrivateKey(bundle);
    ASSERT_TRUE(stored) << setup.said();
    EXPECT_EQ(*stored == Bytes(32, 't'), GetParam().imports);
    EXPECT_EQ(setup.storedApp().value().edDSAPublicKey, PrivateKey(*stored).publicKey().baseEncoding());
}

INSTANTIATE_TEST_SUITE_P(Setup, SparkleKeyImport,
                         testing::Values(ImportCase{"yes", "y", true}, ImportCase{"no", "n", false}),
                         test::CaseName());

} // namespace
} // namespace halvo
