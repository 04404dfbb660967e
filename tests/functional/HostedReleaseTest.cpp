#include "ReleaseFixture.h"

#include <Base/UUID.h>
#include <Support/DevService.h>

namespace halvo::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* bundle = "com.example.demo";

/// An account on one development service for all tests of the suite, and an app that is registered there.
class HostedRelease : public ProgramTest {
protected:
    static void SetUpTestSuite() { service = std::make_unique<DevService>(); }
    static void TearDownTestSuite() { service.reset(); }

    HostedRelease() {
        secrets = {key.secret, account.at("HALVO_TOKEN")};
        AppBundle().writeTo(work);
        const Outcome done = call({"setup", "Demo.app", "--hosting", "halvo", "--sparkle-key", key.secret});
        EXPECT_THAT(done.output, HasSubstr("\nSUFeedURL      " + service->address() + "/v1/apps/"));
        EXPECT_THAT(done.output, HasSubstr("Setup complete!"));
    }
    ~HostedRelease() override { call({"apps", "delete", "-b", bundle, "--yes"}); }

    Outcome call(const Arguments& arguments, Variables changes = {}) {
        changes.insert(account.begin(), account.end());
        return run(arguments, changes);
    }
    Outcome releases(Arguments arguments) {
        arguments.insert(arguments.begin(), "releases");
        arguments.insert(arguments.end(), {"-b", bundle});
        return call(arguments);
    }
    Outcome publish(const std::string& version, const std::string& build, Arguments options = {}) {
        AppBundle::ofVersion(version, build).writeTo(work);
        options.insert(options.begin(), {"release", "Demo.app", "--skip-notarization", "--format", "json"});
        return call(options);
    }

    static std::unique_ptr<DevService> service;
    const SigningKey key = makeSigningKey();
    const Variables account{{"HALVO_SERVER_URL", service->address()},
                            {"HALVO_TOKEN", service->makeAccount(UUID::random().string() + "@halvo.example",
                                                                 "long enough", "Ann")}};
};

std::unique_ptr<DevService> HostedRelease::service;

TEST_F(HostedRelease, goesFromSetupToTheDeletedApp) {
    EXPECT_EQ(releases({"list"}).output, "No releases found for com.example.demo\n");
    const Outcome first = publish("1.2", "7", {"--draft", "--release-notes", "First words"});
    ASSERT_EQ(first.status, 0) << first.output;
    const json record = json::parse(first.output).at("release");
    EXPECT_EQ(record.at("isPublished"), false);
    EXPECT_THAT(record.at("downloadURL").get<std::string>(), StartsWith(service->address()));
    const std::string id = record.at("id");
    ASSERT_EQ(publish("1.10", "10", {"--critical"}).status, 0);
    const std::string table = releases({"list"}).output;
    EXPECT_THAT(table, HasSubstr("\n1.10 (10)  Published, Critical  2"));
    EXPECT_LT(table.find("1.10 (10)"), table.find("1.2 (7)    Draft ")) << table;

    EXPECT_EQ(releases({"update", id, "--channel", "beta", "--published", "true"}).output,
              "Updated release " + id + "\n");
    EXPECT_THAT(releases({"list"}).output, HasSubstr("\n1.2 (7)    Published, beta "));
    EXPECT_EQ(releases({"update", id, "--channel", ""}).status, 0);
    EXPECT_THAT(releases({"list"}).output, HasSubstr("\n1.2 (7)    Published  "));
    EXPECT_EQ(releases({"delete", id, "--yes"}).output, "Deleted release 1.2 (7)\n");
    EXPECT_THAT(releases({"delete", id, "--yes"}).output, EndsWith(" not found for com.example.demo\n"));

    EXPECT_EQ(call({"apps", "delete", "-b", bundle, "--yes"}).output, "Deleted Halvo-hosted app Demo\n");
    EXPECT_THAT(releases({"list"}).output, StartsWith("App not found: com.example.demo."));
}

TEST_F(HostedRelease, appSettingsAreSetAndShownWithoutTheirSecrets) {
    const auto set = [this](const std::string& field, const std::string& value) {
        return call({"config", "set", "app", field, value, "-b", bundle}).output;
    };
    EXPECT_EQ(set("custom-domain", "dl.example.com"), "Set app.custom-domain to dl.example.com\n");
    EXPECT_EQ(set("release-notes-url", "https://example.com/notes"),
              "Set app.release-notes-url to https://example.com/notes\n");
    EXPECT_EQ(set("stripe-secret-key", "sk_test_0123456789abcdef"),
              "Set app.stripe-secret-key to sk_test_0123456789abcdef\n");
    secrets.insert(secrets.end(), {"sk_test_0123456789", "whsec"});
    EXPECT_EQ(
        script("export CI=1 HALVO_SERVER_URL=$1 HALVO_TOKEN=$(cat \"$2\"); echo whsec | \"$3\" config set app "
               "stripe-webhook-secret - -b \"$4\"",
               {service->address(), folder.write("token", account.at("HALVO_TOKEN")).string(), HALVO_PROGRAM,
                bundle}),
        "Set app.stripe-webhook-secret to ••••");
    EXPECT_EQ(set("stripe-managed-payments", "true"), "Set app.stripe-managed-payments to true\n");
    EXPECT_THAT(set("stripe-managed-payments", "TRUE"), StartsWith("Invalid boolean value: TRUE."));
    EXPECT_THAT(call({"config", "show", "--section", "app", "-b", bundle}).output,
                EndsWith("\ncustom-domain            dl.example.com\n"
                         "release-notes-url        https://example.com/notes\n"
                         "stripe-secret-key        ••••cdef\n"
                         "stripe-webhook-secret    ••••\n"
                         "stripe-managed-payments  true\n"
                         "stripe-webhook-url       " +
                         service->address() + "/v1/webhooks/stripe/com.example.demo\n"));
}

TEST_F(HostedRelease, failsWithACodeAndLeavesAWayOn) {
    const auto codeOf = [](const Outcome& outcome) {
        EXPECT_EQ(outcome.status, 1);
        const json report = json::parse(outcome.output);
        EXPECT_EQ(outcome.error.substr(outcome.error.rfind("Error: ")),
                  "Error: " + report.at("message").get<std::string>() + "\n");
        return report;
    };
    ASSERT_EQ(publish("1.2", "7").status, 0);
    EXPECT_EQ(codeOf(publish("1.3", "7")).at("message"),
              "Release failed: A release with bundle version 7 already exists. Increment your bundle version "
              "before releasing.");

    mayLeaveTemporaryFiles = true; // the file that was to be sent
    service->injectFault(
        {{"path", "/v1/releases/.*/upload"}, {"status", 503}, {"body", "<html>busy</html>"}});
    const json report = codeOf(publish("1.3", "8"));
    EXPECT_EQ(report.at("code"), "api_error");
    EXPECT_THAT(report.at("message").get<std::string>(),
                AllOf(StartsWith("API error: A server error with the code 503 occurred.\n"),
                      HasSubstr("`halvo releases delete "), HasSubstr("The prepared file stays at ")));

    for (const char* token : {"", "no such token"})
        EXPECT_EQ(codeOf(call({"release", "Demo.app", "--skip-notarization", "--format", "json"},
                              {{"HALVO_TOKEN", token}}))
                      .at("code"),
                  "not_authenticated");
}

} // namespace
} // namespace halvo::test
