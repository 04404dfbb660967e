#include "ScriptedService.h"

#include <Support/TemporaryFolder.h>
#include <Support/Thrown.h>

#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using namespace std::chrono_literals;
using Behaviour = test::ServerReply::Behaviour;
using test::FaultServer;
using test::ScriptedService;
using test::ServerReply;
using testing::HasSubstr;
using testing::Not;

TEST(APIClient, makesErrorsOfStatuses) {
    const std::string undecodable = "There was an error when decoding the response.";
    const struct {
        ServerReply reply;
        APIError::Case expected;
        std::string text;
    } cases[] = {
        {{400, R"({"message":"m"})"}, APIError::BadRequest{"m"}, "m"},
        {{400}, APIError::BadRequest{"An unknown error occurred."}, "An unknown error occurred."},
        {{401}, APIError::Unauthorized{"You are not authenticated."}, "You are not authenticated."},
        {{402, R"({"message":"m"})"}, APIError::PaymentRequired{"m"}, "m"},
        {{403, "<html>"},
         APIError::Forbidden{"You have no permission to access this resource."},
         "You have no permission to access this resource."},
        {{404, R"({"message":7})"}, APIError::NotFound{"Resource not found."}, "Resource not found."},
        {{405},
         APIError::ClientError{405, "An unknown client error occurred."},
         "An unknown client error occurred. (405)"},
        {{499, R"({"message":"x"})"}, APIError::ClientError{499, "x"}, "x (499)"},
        {{503, R"({"message":"x"})"},
         APIError::ServerError{503},
         "A server error with the code 503 occurred."},
        {{204}, APIError::DecodingError{}, undecodable},
        {{200, R"({"id":"6D1A9F1C-3B7E-)"}, APIError::DecodingError{}, undecodable},
        {{200, R"({"id":"6D1A9F1C-3B7E-5A2D-9C4F-8E0A1B2C3D4E","name":"n"})"},
         APIError::DecodingError{},
         undecodable},
        {{200, std::string(100'000, '[')}, APIError::DecodingError{}, undecodable},
        {{.body = "SSH-2.0-x\r\n", .behaviour = Behaviour::raw},
         APIError::NoResponse{},
         "The server did not respond."},
    };
    for (const auto& row : cases) {
        ScriptedService service({row.reply});
        try {
            service.client.getUser();
            ADD_FAILURE() << row.text;
        } catch (const APIError& error) {
            EXPECT_EQ(error.which, row.expected);
            EXPECT_EQ(error.description(), row.text);
        }
        EXPECT_EQ(service.server.requests().size(), 1U); // nothing is tried again
    }
}

TEST(APIClient, passesFailuresOfTheTransferOn) {
    using enum HTTPError::Kind;
    const std::pair<ServerReply, HTTPError::Kind> cases[] = {
        {{.behaviour = Behaviour::silence}, timedOut},
        {{.behaviour = Behaviour::cutInUpload, .readBeforeAnswer = 100'000}, connectionLost},
        {{.body = R"({"id":"6D1A"})", .behaviour = Behaviour::cutInBody}, connectionLost},
    };
    test::TemporaryFolder folder;
    const auto file = folder.write("Demo.dmg", std::string(8'000'000, 'x'));
    for (const auto& [reply, kind] : cases) {
        ScriptedService service({reply}, {.request = 10s, .binaryUpload = 300ms});
        try {
            service.client.uploadBinary(file, UUID());
            ADD_FAILURE();
        } catch (const HTTPError& error) {
            EXPECT_EQ(error.kind, kind);
            EXPECT_THAT(error.description(), Not(HasSubstr("hunter2")));
        }
    }
}

TEST(APIClient, givesBinariesMoreTimeThanOtherRequests) {
    ScriptedService service({{.behaviour = Behaviour::silence}}, {.request = 50ms, .binaryUpload = 10s});
    EXPECT_THROW(service.client.getUser(), HTTPError);
    EXPECT_EQ(APITimeLimits().request, 60s);
    EXPECT_EQ(APITimeLimits().binaryUpload, 600s);
}

TEST(APIClient, sendsTheTokenWhenThereIsOneAndFollowsNoRedirect) {
    FaultServer elsewhere({ServerReply{}});
    const ServerReply redirect{.status = 302, .headers = {{"Location", elsewhere.url()}}};
    ScriptedService service({redirect, {.status = 401}});
    EXPECT_EQ(test::descriptionThrown<APIError>([&] { service.client.getUser(); }),
              "A server error with the code 302 occurred.");
    EXPECT_TRUE(elsewhere.requests().empty());
    service.token.token.reset(); // asked afresh
    EXPECT_THROW(service.client.getUser(), APIError);
    EXPECT_EQ(service.server.requests().at(0).header("Authorization"), "Bearer hunter2");
    EXPECT_EQ(service.server.requests().at(1).header("Authorization"), std::nullopt);
}

TEST(APIClient, logsWhatDidNotDecodeWithoutShowingIt) {
    ScriptedService service({{.body = R"({"token":"hunter2","user":{}})"}});
    EXPECT_THROW(service.client.login({"a@example.com", "p"}), APIError);
    EXPECT_THAT(service.log.messages,
                testing::ElementsAre("Response body: <private>",
                                     testing::StartsWith("Decoding failed for AuthResponse")));
}

TEST(APIClient, reportsTheRefusalThatCutsAnUploadShort) {
    ScriptedService service({{.status = 413,
                              .body = R"({"message":"Too big."})",
                              .behaviour = Behaviour::answerEarly,
                              .readBeforeAnswer = 70'000}});
    test::TemporaryFolder folder;
    const auto file = folder.write("Demo.zip", std::string(8'000'000, 'x'));
    EXPECT_EQ(test::descriptionThrown<APIError>([&] { service.client.uploadBinary(file, UUID()); }),
              "Too big. (413)");
}

TEST(APIClient, saysThatAFileCannotBeRead) {
    ScriptedService service({});
    EXPECT_EQ(test::descriptionThrown<UploadFileError>(
                  [&] { service.client.uploadBinary("/nowhere/Demo.dmg", UUID()); }),
              "Failed to read file data");
    EXPECT_TRUE(service.server.requests().empty());
}

TEST(APIClient, tellsItsDelegateOfFailedAnswersOnly) {
    struct Delegate final : APIClientDelegate {
        void apiClient(APIClient&, const APIError& error) override { told.push_back(error.description()); }
        std::vector<std::string> told;
    };
    FaultServer server({{.status = 401}, {.status = 204}, {.status = 500}});
    auto delegate = std::make_shared<Delegate>();
    test::FixedToken token;
    SilentLog log;
    const auto http = makeSystemHTTPSession();
    APIClient client(*URL::parse(server.url()), token, *http, log, {}, delegate);
    EXPECT_THROW(client.getUser(), APIError);
    EXPECT_THROW(client.getUser(), APIError); // no record in an answer that is a success
    EXPECT_THAT(delegate->told, testing::ElementsAre("You are not authenticated."));
    delegate.reset();
    EXPECT_THROW(client.getUser(), APIError);
}

TEST(APIClient, endsAnUploadAtOnceWhenCancelled) {
    ScriptedService service({{.behaviour = Behaviour::silence}});
    test::TemporaryFolder folder;
    const auto file = folder.write("Demo.zip", "x");
    std::jthread stopper([&] {
        while (service.server.requests().empty())
            std::this_thread::sleep_for(1ms);
        service.source.request_stop();
    });
    EXPECT_THROW(service.client.uploadBinary(file, UUID()), CancelledError);
}

} // namespace
} // namespace halvo
