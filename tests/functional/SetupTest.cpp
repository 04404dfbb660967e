#include "AppBundle.h"
#include "ProgramFixture.h"

#include <Support/CaseName.h>
#include <Support/FaultServer.h>

#include <nlohmann/json.hpp>

namespace halvo::test {
namespace {

using nlohmann::json;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// Runs of `halvo setup` with nobody to ask.
class SetupRun : public ProgramTest {
protected:
    SetupRun() {
        AppBundle().writeTo(work);
        secrets = {key.secret, "secret-half"};
    }

    Outcome setup(Arguments options, const Variables& variables = {}) {
        options.insert(options.begin(), {"setup", "Demo.app"});
        Outcome outcome = run(options, variables);
        EXPECT_EQ(outcome.status, 0);
        return outcome;
    }
    bool hasStored(const char* file) const { return std::filesystem::exists(home / file); }

    static constexpr const char* settings = "config/halvo/com.tarnworks.Halvo.json";
    static constexpr const char* keychain = "data/halvo/keychain.json";
    SigningKey key = makeSigningKey();
    const Arguments bucket{"--hosting",
                           "s3",
                           "--s3-bucket",
                           "bucket",
                           "--s3-region",
                           "us-east-1",
                           "--s3-public-url",
                           "https://dl.example.com",
                           "--s3-path-prefix",
                           "apps",
                           "--s3-access-key-id",
                           "AKIA",
                           "--s3-secret-access-key",
                           "secret-half"};
};

TEST_F(SetupRun, storesABucketWithTheGivenKeyAndOnlyOnce) {
    Arguments options = bucket;
    options.insert(options.end(), {"--sparkle-key", key.secret});
    const Outcome done = setup(options);
    const std::string lines = "\nAdd these to your app's Info.plist:\nSUFeedURL      "
                              "https://dl.example.com/apps/appcast.xml\nSUPublicEDKey  " +
                              key.publicKey + "\nLearn how to integrate Sparkle: ";
    EXPECT_THAT(done.output, StartsWith("Demo\nBundle ID: com.example.demo\n1.2 (7)\n\n" + lines));
    EXPECT_THAT(done.output,
                EndsWith("Success: Setup complete! Run `halvo release` to publish your first release.\n"));
    const std::string stored = readText(home / settings) + readText(home / keychain);

    const Outcome again = setup({"--hosting", "s3", "--generate-sparkle-key"});
    EXPECT_THAT(again.output, HasSubstr("\nApp \"Demo\" is already set up (S3-hosted).\n" + lines));
    EXPECT_EQ(readText(home / settings) + readText(home / keychain), stored);
    EXPECT_THAT(run({"apps", "list"}).output,
                EndsWith("\nName  Bundle ID         Hosting\nDemo  com.example.demo  S3\n"));
}

TEST_F(SetupRun, keepsTheKeyThatUsersTrust) {
    storeInKeychain("dataProtection", "halvo.sparkle.com.example.demo", key.secret);
    Arguments options = bucket;
    options.emplace_back("--generate-sparkle-key");
    EXPECT_THAT(setup(options).output,
                EndsWith("\nFailed to create app: A Sparkle signing key for com.example.demo is already in "
                         "the keychain. Run `halvo setup` without --generate-sparkle-key to use it. `halvo export sparkle-key -b com.example.demo` shows it.\n"));
    EXPECT_FALSE(hasStored(settings));
    EXPECT_THAT(setup(bucket).output, HasSubstr("\nSUPublicEDKey  " + key.publicKey + "\n"));
}

struct SetupRefusalCase {
    const char* name;
    Arguments options;
    std::string told;
};

class SetupRefusal : public SetupRun, public testing::WithParamInterface<SetupRefusalCase> {};

TEST_P(SetupRefusal, namesWhatIsMissingAndStoresNothing) {
    EXPECT_THAT(setup(GetParam().options).output, EndsWith(GetParam().told + "\n"));
    EXPECT_FALSE(hasStored(settings));
    EXPECT_FALSE(hasStored(keychain));
}

INSTANTIATE_TEST_SUITE_P(
    Setup, SetupRefusal,
    testing::Values(
        SetupRefusalCase{"hosting",
                         {},
                         "\"How would you like to host Demo?\" cannot be asked without a terminal. Pass "
                         "--hosting halvo or --hosting s3."},
        SetupRefusalCase{
            "bucket",
            {"--hosting", "s3"},
            "\"What is the S3 bucket name?\" cannot be asked without a terminal. Pass --s3-bucket."},
        SetupRefusalCase{"publicURL",
                         {"--hosting", "s3", "--s3-bucket", "b", "--s3-region", "us-east-1"},
                         "Invalid S3 configuration. Bucket and public URL are required."},
        SetupRefusalCase{"endpointIsNoURL",
                         {"--hosting", "s3", "--s3-bucket", "b", "--s3-region", "us-east-1",
                          "--s3-public-url", "https://dl.example.com", "--s3-endpoint", "host"},
                         "--s3-endpoint is not a valid URL: host"},
        SetupRefusalCase{"keyPair",
                         {"--hosting", "s3", "--s3-bucket", "b", "--s3-region", "us-east-1",
                          "--s3-public-url", "https://dl.example.com", "--s3-access-key-id", "AKIA"},
                         "\"What is your S3 access key ID?\" cannot be asked without a terminal. Pass both "
                         "--s3-access-key-id and --s3-secret-access-key."},
        SetupRefusalCase{"sparkleKeyIsNoBase64",
                         {"--hosting", "s3", "--sparkle-key", "*"},
                         "--sparkle-key is not valid base64."},
        SetupRefusalCase{"hostedNeedsLogin",
                         {"--hosting", "halvo", "--generate-sparkle-key"},
                         "Failed to create app: Not logged in. Run `halvo login`, or set HALVO_TOKEN."}),
    CaseName());

TEST_F(SetupRun, registersAHostedAppWithoutAQuestion) {
    const json app{{"id", "11111111-2222-4333-8444-555555555555"},
                   {"name", "Demo"},
                   {"bundleIdentifier", "com.example.demo"},
                   {"appcastURL", "https://halvo.example/demo.xml"},
                   {"stripeManagedPayments", false},
                   {"releases", json::array()}};
    const FaultServer service({ServerReply{.body = "[]"}, ServerReply{.body = app.dump()},
                               ServerReply{.body = json::array({app}).dump()}});
    const Variables account{{"HALVO_SERVER_URL", service.url("")}, {"HALVO_TOKEN", "token"}};
    const Outcome done = setup({"--hosting", "halvo", "--generate-sparkle-key"}, account);
    const auto requests = service.requests();
    ASSERT_EQ(requests.size(), 2U) << done.output;
    const json created = json::parse(requests[1].body);
    EXPECT_EQ(created.at("name"), "Demo");
    EXPECT_EQ(created.at("bundleIdentifier"), "com.example.demo");
    const std::string publicKey = created.at("edDSAPublicKey");
    EXPECT_THAT(done.output, HasSubstr("\nSUFeedURL      https://halvo.example/demo.xml\nSUPublicEDKey  " +
                                       publicKey + "\nSparkle Public Key: " + publicKey + "\n"));
    EXPECT_THAT(done.output, HasSubstr("Setup complete!"));
    EXPECT_THAT(setup({"--hosting", "halvo"}, account).output,
                EndsWith("\nApp \"Demo\" is already registered on Halvo.\n"));
}

} // namespace
} // namespace halvo::test
