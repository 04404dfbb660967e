#include "ReleaseFixture.h"

#include <Support/CaseName.h>
#include <Support/FaultServer.h>

#include <csignal>
#include <thread>

namespace halvo::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

struct InterruptionCase {
    const char* name;
    int signal;
    int status;
    bool json;
};

class Interruption : public ReleaseTest, public testing::WithParamInterface<InterruptionCase> {};

/// Waits until the upload has reached a server that never answers.
void awaitRequest(const FaultServer& server) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (server.requests().empty() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_FALSE(server.requests().empty());
}

TEST_P(Interruption, endsAnUploadAndRemovesWhatWasPrepared) {
    const auto& [name, signal, status, json] = GetParam();
    const FaultServer server({ServerReply{.behaviour = ServerReply::Behaviour::silence}});
    AppBundle().writeTo(work);
    Arguments arguments = releaseArguments({"Demo.app", "--skip-notarization"});
    if (json)
        arguments.insert(arguments.end(), {"--format", "json"});
    const auto process = start(arguments, changed({{"HALVO_S3_ENDPOINT", server.url("")}}));
    awaitRequest(server);
    EXPECT_THAT(temporaryFiles(), testing::Not(IsEmpty()));
    EXPECT_TRUE(process->signalGroup(signal));

    const Outcome ended = finish(*process);
    EXPECT_EQ(ended.status, status);
    const std::string message = "The release was cancelled.";
    if (json) {
        EXPECT_EQ(ended.output, nlohmann::json({{"code", "cancelled"}, {"message", message}}).dump() + "\n");
        EXPECT_THAT(ended.error, EndsWith("\nError: " + message + "\n"));
    } else
        EXPECT_THAT(ended.output, EndsWith("\n" + message + "\n"));
    EXPECT_TRUE(std::filesystem::exists(work / "Demo.app/Contents/Info.plist"));
}

INSTANTIATE_TEST_SUITE_P(Release, Interruption,
                         testing::Values(InterruptionCase{"interruptInText", SIGINT, 130, false},
                                         InterruptionCase{"interruptInJSON", SIGINT, 130, true},
                                         InterruptionCase{"terminateInText", SIGTERM, 143, false},
                                         InterruptionCase{"terminateInJSON", SIGTERM, 143, true}),
                         CaseName());

} // namespace
} // namespace halvo::test
