#include "CommandRun.h"

#include <HalvoCore/LocalAppRepository.h>
#include <KeyChain/MacKeyChainStore.h>
#include <Support/CaseName.h>
#include <Support/FaultServer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace halvo {
namespace {

using nlohmann::json;
using test::FaultServer;
using test::runCommand;
using test::ServerReply;
using test::TestServices;
using testing::HasSubstr;
using testing::Not;

const std::string bundle = "com.example.Demo";
const std::string appID = "11111111-2222-4333-8444-555555555555";
const std::string releaseID = "AAAAAAAA-2222-4333-8444-555555555555";

/// The answer about all apps of an account that has one app with one release.
std::string accountApps() {
    const json release{{"id", releaseID},     {"title", "1.2 (7)"},
                       {"bundleVersion", 7},  {"bundleVersionString", "1.2"},
                       {"releaseNotes", ""},  {"minimumSystemVersion", "13.0"},
                       {"fileSize", 1000},    {"isPhasedRollout", false},
                       {"isCritical", false}, {"isPublished", true}};
    return json::array({{{"id", appID},
                         {"name", "Demo"},
                         {"bundleIdentifier", bundle},
                         {"appcastURL", "https://halvo.example/demo.xml"},
                         {"stripeManagedPayments", false},
                         {"releases", {release}}}})
        .dump();
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
    bool hasStoredApp() { return apps.fetchStored(bundle).has_value(); }

    MacKeyChainStore keyChain{keychainItems};
    UserDefaultsStorageController storage{userDefaults};
    LocalAppRepository apps{storage};
};

struct DeleteAppCase {
    const char* name;
    std::string typed;
    std::string asked; ///< the last question
    std::string outcome;
    bool deletesStored = false;
    bool deletesHosted = false;
};

class DeleteAppOfBoth : public testing::TestWithParam<DeleteAppCase> {};

TEST_P(DeleteAppOfBoth, deletesWhatIsChosenAndAgreedTo) {
    const auto& [name, typed, asked, outcome, deletesStored, deletesHosted] = GetParam();
    const FaultServer service({ServerReply{.body = accountApps()}, ServerReply{.status = 204}});
    Person person(service, typed);
    person.storeApp();
    EXPECT_EQ(runCommand(person, {"apps", "delete", "-b", bundle}), 0);
    EXPECT_THAT(person.error->text, HasSubstr(" exists in both. Which would you like to delete?"));
    EXPECT_THAT(person.error->text, HasSubstr(asked));
    EXPECT_EQ(person.output->text, outcome);
    EXPECT_EQ(person.hasStoredApp(), !deletesStored);
    EXPECT_EQ(person.storage.getReleaseSettings(bundle).has_value(), !deletesStored);
    if (deletesStored) {
        EXPECT_THROW(person.keyChain.getS3Credentials(bundle), KeychainError);
    }
    EXPECT_TRUE(person.keyChain.storedSparklePrivateKey(bundle));
    const auto requests = service.requests();
    ASSERT_EQ(requests.size(), deletesHosted ? 2U : 1U);
    if (deletesHosted) {
        EXPECT_EQ(requests[1].method + " " + requests[1].target, "DELETE /v1/apps/" + appID);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Apps, DeleteAppOfBoth,
    testing::Values(DeleteAppCase{"cancel", "3\r", "Cancel", "Cancelled.\n"},
                    DeleteAppCase{"hostedRefused", "1\rn", "related data from halvo.example.",
                                  "Cancelled.\n"},
                    DeleteAppCase{"refusedByDefault", "2\r\r", "key stays in the keychain.", "Cancelled.\n"},
                    DeleteAppCase{"hosted", "1\ry", "related data from halvo.example.",
                                  "Deleted Halvo-hosted app Demo\n", false, true},
                    DeleteAppCase{"stored", "2\ry", "key stays in the keychain.", "Deleted Demo\n", true}),
    test::CaseName());

struct DeleteReleaseCase {
    const char* name;
    const char* typed;
    std::string outcome;
    std::size_t requests;
};

class DeleteRelease : public testing::TestWithParam<DeleteReleaseCase> {};

TEST_P(DeleteRelease, asksFirst) {
    const FaultServer service(
        {ServerReply{.body = accountApps()}, ServerReply{.body = accountApps()}, ServerReply{.status = 204}});
    Person person(service, GetParam().typed);
    EXPECT_EQ(runCommand(person, {"releases", "delete", releaseID, "-b", bundle}), 0);
    EXPECT_THAT(person.error->text, HasSubstr("Delete release 1.2 (7)"));
    EXPECT_EQ(person.output->text, GetParam().outcome);
    EXPECT_EQ(service.requests().size(), GetParam().requests);
}

INSTANTIATE_TEST_SUITE_P(Releases, DeleteRelease,
                         testing::Values(DeleteReleaseCase{"no", "n", "Cancelled.\n", 2},
                                         DeleteReleaseCase{"yes", "y", "Deleted release 1.2 (7)\n", 3}),
                         test::CaseName());

} // namespace
} // namespace halvo
