#include "ScriptedService.h"

#include <Base/Text.h>
#include <Support/TemporaryFolder.h>

#include <functional>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace halvo {
namespace {

using nlohmann::json;
using test::ScriptedService;

const std::string idText = "6D1A9F1C-3B7E-5A2D-9C4F-8E0A1B2C3D4E";
const UUID id = *UUID::parse(idText);

const json release = json::parse(R"json({
    "id": "6d1a9f1c-3b7e-5a2d-9c4f-8e0a1b2c3d4e", "title": "1.2 (7)", "bundleVersion": 7,
    "bundleVersionString": "1.2", "releaseNotes": "n", "minimumSystemVersion": "13.0", "fileSize": 5000000000,
    "downloadURL": "https://dl.example.com/a.zip", "channel": "beta", "isPhasedRollout": true,
    "isCritical": false, "isPublished": true, "createdAt": "2026-11-22T09:30:00Z", "unknownToUs": [1, 2]})json");
const json app{{"id", idText},
               {"name", "Demo"},
               {"bundleIdentifier", "com.example.Demo"},
               {"appcastURL", "https://halvo.example/a.xml"},
               {"customDomain", nullptr},
               {"stripeManagedPayments", false},
               {"releases", {release}}};
const json user{{"id", idText}, {"email", "a@example.com"}, {"name", "Ann"}};
const json login{{"user", user}, {"token", "t"}};
const json message{{"message", "m"}};

/// Makes one call and compares what the service got: a line such as "GET /v1/users", and a body in JSON,
/// none, or the file. "@" stands for the identifier.
void expectRequest(const std::string& line, const std::string& body, const json& answer,
                   const std::function<void(APIClient& client, const std::filesystem::path& file)>& call) {
    SCOPED_TRACE(line);
    ScriptedService service({{.body = answer.is_null() ? "" : answer.dump()}});
    test::TemporaryFolder folder;
    call(service.client, folder.write("File.dmg", "content"));

    const test::ReceivedRequest request = service.server.requests().at(0);
    EXPECT_EQ(request.method + " " + request.target, replacingAll(line, "@", idText));
    EXPECT_EQ(request.header("Authorization"), "Bearer hunter2");
    EXPECT_EQ(request.header("Expect"), std::nullopt);
    if (body.starts_with('{')) {
        EXPECT_EQ(request.header("Content-Type"), "application/json");
        EXPECT_EQ(json::parse(request.body), json::parse(replacingAll(body, "\"@\"", "\"" + idText + "\"")));
    } else {
        EXPECT_EQ(request.header("Content-Type").value_or(""),
                  body.empty() ? "" : "application/x-apple-diskimage");
        EXPECT_EQ(request.body, body);
    }
    if (request.method == "POST") {
        EXPECT_EQ(request.header("Content-Length"), std::to_string(request.body.size()));
    }
}

TEST(Endpoints, ofApps) {
    expectRequest("POST /base/v1/apps",
                  R"({"name":"Demo","bundleIdentifier":"com.example.Demo","edDSAPublicKey":"key"})", app,
                  [](APIClient& client, auto&) {
                      const ServerApp made = client.createApp({"Demo", "com.example.Demo", "key"});
                      EXPECT_EQ(made.id, id);
                      EXPECT_EQ(made.releases.at(0).fileSize, 5'000'000'000);
                      EXPECT_EQ(made.releases[0].createdAt, parseISO8601("2026-11-22T09:30:00Z"));
                      EXPECT_EQ(made.releases[0].updatedAt, std::nullopt);
                  });
    expectRequest(
        "POST /base/v1/apps/@", R"({"id":"@","customDomain":"d.example","stripeManagedPayments":true})", app,
        [](APIClient& client, auto&) {
            client.updateApp({.id = id, .customDomain = "d.example", .stripeManagedPayments = true});
        });
    expectRequest("DELETE /base/v1/apps/@", "", nullptr,
                  [](APIClient& client, auto&) { client.deleteApp(id); });
    expectRequest("POST /base/v1/apps/@/icon", "content", app,
                  [](APIClient& client, auto& file) { client.uploadAppIcon(file, id); });
    expectRequest("GET /base/v1/apps/com.Example.demo-1/details", "", app,
                  [](APIClient& client, auto&) { client.fetchApp("com.Example.demo-1"); });
    expectRequest("GET /base/v1/users/apps", "", json::array(),
                  [](APIClient& client, auto&) { EXPECT_TRUE(client.fetchUsersApps().empty()); });
    expectRequest("GET /base/v1/apps/@/downloads", "",
                  {{"total", 3}, {"daily", {{{"date", "2026-11-22"}, {"downloads", 3}}}}},
                  [](APIClient& client, auto&) {
                      EXPECT_EQ(client.fetchDownloads(id), (DownloadsResponse{3, {{"2026-11-22", 3}}}));
                  });
}

TEST(Endpoints, ofReleases) {
    const CreateReleaseRequest made{.title = "t",
                                    .bundleVersion = 7,
                                    .bundleVersionString = "1.2",
                                    .releaseNotes = "n",
                                    .minimumSystemVersion = "13.0",
                                    .fileSize = 5'000'000'000,
                                    .signature = "c2ln",
                                    .isPublished = true,
                                    .appID = id};
    expectRequest(
        "POST /base/v1/releases",
        R"({"title":"t","bundleVersion":7,"bundleVersionString":"1.2","releaseNotes":"n","minimumSystemVersion":"13.0","fileSize":5000000000,"signature":"c2ln","isPublished":true,"isPhasedRollout":false,"isCritical":false,"appID":"@"})",
        release, [&](APIClient& client, auto&) { client.createRelease(made); });
    expectRequest("POST /base/v1/releases/@", R"({"id":"@","isPublished":false})", release,
                  [](APIClient& client, auto&) { client.updateRelease({.id = id, .isPublished = false}); });
    const Release edited{
        .id = id, .title = "t", .bundleVersion = 7, .isPublished = true}; // a channel left out would stay
    expectRequest(
        "POST /base/v1/releases/@",
        R"({"id":"@","title":"t","releaseNotes":"","minimumSystemVersion":"","channel":"","isPhasedRollout":false,"isCritical":false,"isPublished":true})",
        release,
        [&](APIClient& client, auto&) { client.updateRelease(UpdateReleaseRequest::editing(edited)); });
    expectRequest("delete /base/v1/releases/@", "", nullptr,
                  [](APIClient& client, auto&) { client.deleteRelease(id); });
    expectRequest("POST /base/v1/releases/@/upload", "content", release, [](APIClient& client, auto& file) {
        std::uint64_t sent = 0;
        client.uploadBinary(file, id, [&](auto done, auto) { sent = done; });
        EXPECT_EQ(sent, 7U);
    });
}

TEST(Endpoints, ofTheAccount) {
    expectRequest("POST /base/v1/users/register", R"({"email":"a@example.com","password":"p","name":"Ann"})",
                  login, [](APIClient& client, auto&) {
                      EXPECT_EQ(client.registerUser({"a@example.com", "p", "Ann"}).token, "t");
                  });
    expectRequest(
        "POST /base/v1/users/login", R"({"email":"a@example.com","password":"p"})", login,
        [](APIClient& client, auto&) {
            EXPECT_EQ(client.login({"a@example.com", "p"}).user, (User{id, "Ann", "a@example.com"}));
        });
    expectRequest("POST /base/v1/users/logout", "", nullptr,
                  [](APIClient& client, auto&) { client.logout(); });
    expectRequest("GET /base/v1/users", "", user, [](APIClient& client, auto&) { client.getUser(); });
    expectRequest("POST /base/v1/users", R"({"name":"Bo"})", user,
                  [](APIClient& client, auto&) { client.updateUser({"Bo"}); });
    expectRequest("POST /base/v1/users/password/reset/request", R"({"email":"a@example.com"})", message,
                  [](APIClient& client, auto&) { client.requestPasswordReset("a@example.com"); });
    expectRequest("POST /base/v1/users/password/change", R"({"currentPassword":"old","newPassword":"new"})",
                  message, [](APIClient& client, auto&) { client.changePassword("old", "new"); });
}

} // namespace
} // namespace halvo
