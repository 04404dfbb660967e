#include "CommandRun.h"

#include <HalvoCore/LocalAppRepository.h>
#include <KeyChain/MacKeyChainStore.h>
#include <Support/FaultServer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::FaultServer;
using test::runCommand;
using test::ServerReply;
using test::TestServices;
using testing::HasSubstr;

const std::string bundle = "com.example.Demo";
const std::string appID = "11111111-2222-4333-8444-555555555555";
const std::string releaseID = "AAAAAAAA-2222-4333-8444-555555555555";

/// The answer about all apps of an account that has one app with one release.
std::string accountApps() {
    return R"json([{"id": "11111111-2222-4333-8444-555555555555", "name": "Demo", "bundleIdentifier": "com.example.Demo",
        "appcastURL": "https://halvo.example/demo.xml", "stripeManagedPayments": false, "releases": [{
        "id": "AAAAAAAA-2222-4333-8444-555555555555", "title": "1.2 (7)", "bundleVersion": 7,
        "bundleVersionString": "1.2", "releaseNotes": "", "minimumSystemVersion": "13.0", "fileSize": 1000,
        "isPhasedRollout": false, "isCritical": false, "isPublished": true}]}])json";
}

/// A person who is logged in at a service that answers a script.
struct Person : TestServices {
    Person(const FaultServer& service, const std::string& typed)
        : TestServices({{"HALVO_SERVER_URL", service.url("")}, {"HALVO_TOKEN", "token"}},
                       test::personsTerminal(), typed) {}

    void storeApp() {
        S3Configuration configuration{.bucket = "bucket", .region = "us-east-1"};
        configuration.publicBaseURL = URL::parse("https://dl.example.com").value();
        apps.create(
            {.id = UUID::random(), .bundleIdentifier = bundle, .name = "Demo", .storage = {configuration}});
        storage.setReleaseSettings(ReleaseSettings(), bundle);
        keyChain.setS3Credentials({"id", "secret"}, bundle);
        keyChain.setSparklePrivateKey(Bytes(32, 'k'), Bytes(32, 'p'), bundle);
    }

    MacKeyChainStore keyChain{keychainItems};
    UserDefaultsStorageController storage{userDefaults};
    LocalAppRepository apps{storage};
};

TEST(AppsDelete, deletesWhatIsChosenAndAgreedTo) {
    const std::string hostedGoes = "related data from halvo.example.";
    const std::string storedGoes = "key stays in the keychain.";
    const struct {
        const char* typed;
        std::string asked; ///< the last question
        const char* outcome;
        bool deletesStored = false, deletesHosted = false;
    } cases[] = {
        {"3\r", "Cancel", "Cancelled.\n"},
        {"1\rn", hostedGoes, "Cancelled.\n"},
        {"2\r\r", storedGoes, "Cancelled.\n"},
        {"1\ry", hostedGoes, "Deleted Halvo-hosted app Demo\n", false, true},
        {"2\ry", storedGoes, "Deleted Demo\n", true},
    };
    for (const auto& [typed, asked, outcome, deletesStored, deletesHosted] : cases) {
        const FaultServer service({ServerReply{.body = accountApps()}, ServerReply{.status = 204}});
        Person person(service, typed);
        person.storeApp();
        EXPECT_EQ(runCommand(person, {"apps", "delete", "-b", bundle}), 0);
        EXPECT_THAT(person.error->text, HasSubstr(" exists in both. Which would you like to delete?"));
        EXPECT_THAT(person.error->text, HasSubstr(asked));
        EXPECT_EQ(person.output->text, outcome);
        EXPECT_EQ(person.apps.fetchStored(bundle).has_value(), !deletesStored);
        EXPECT_EQ(person.storage.getReleaseSettings(bundle).has_value(), !deletesStored);
        if (deletesStored) {
            EXPECT_THROW(person.keyChain.getS3Credentials(bundle), KeychainError);
        }
        EXPECT_TRUE(person.keyChain.storedSparklePrivateKey(bundle));
        const auto requests = service.requests();
        ASSERT_EQ(requests.size(), deletesHosted ? 2U : 1U);
        EXPECT_EQ(requests.back().method + " " + requests.back().target,
                  deletesHosted ? "DELETE /v1/apps/" + appID : "GET /v1/users/apps");
    }
}

TEST(ReleasesDelete, asksFirst) {
    for (const auto& [typed, outcome, requests] :
         {std::tuple("n", "Cancelled.\n", 2U), std::tuple("y", "Deleted release 1.2 (7)\n", 3U)}) {
        const ServerReply apps{.body = accountApps()};
        const FaultServer service({apps, apps, ServerReply{.status = 204}});
        Person person(service, typed);
        EXPECT_EQ(runCommand(person, {"releases", "delete", releaseID, "-b", bundle}), 0);
        EXPECT_THAT(person.error->text, HasSubstr("Delete release 1.2 (7)"));
        EXPECT_EQ(person.output->text, outcome);
        EXPECT_EQ(service.requests().size(), requests);
    }
}

} // namespace
} // namespace halvo
