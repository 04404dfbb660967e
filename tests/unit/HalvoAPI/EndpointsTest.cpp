#include "ScriptedService.h"

#include <Support/CaseName.h>
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

const json release{{"id", "6d1a9f1c-3b7e-5a2d-9c4f-8e0a1b2c3d4e"},
                   {"title", "1.2 (7)"},
                   {"bundleVersion", 7},
                   {"bundleVersionString", "1.2"},
                   {"releaseNotes", "n"},
                   {"minimumSystemVersion", "13.0"},
                   {"fileSize", 5'000'000'000},
                   {"downloadURL", "https://dl.example.com/a.zip"},
                   {"channel", "beta"},
                   {"isPhasedRollout", true},
                   {"isCritical", false},
                   {"isPublished", true},
                   {"createdAt", "2026-11-22T09:30:00Z"},
                   {"unknownToUs", {1, 2}}};
const json app{{"id", idText},
               {"name", "Demo"},
               {"bundleIdentifier", "com.example.Demo"},
               {"appcastURL", "https://halvo.example/a.xml"},
               {"customDomain", nullptr},
               {"stripeManagedPayments", false},
               {"releases", {release}}};
const json user{{"id", idText}, {"email", "a@example.com"}, {"name", "Ann"}};

struct EndpointCase {
    const char* name;
    std::function<void(APIClient&, const std::filesystem::path& file)> call;
    json answer;
    const char* method;
    std::string path;
    json body = nullptr; ///< null: not JSON
    const char* contentType = nullptr;
};

class Endpoints : public testing::TestWithParam<EndpointCase> {};

TEST_P(Endpoints, sendWhatTheServiceExpects) {
    const EndpointCase& row = GetParam();
    ScriptedService service({{.body = row.answer.is_null() ? "" : row.answer.dump()}});
    test::TemporaryFolder folder;
    row.call(service.client, folder.write("File.dmg", "content"));

    const test::ReceivedRequest request = service.server.requests().at(0);
    EXPECT_EQ(request.method, row.method);
    EXPECT_EQ(request.target, "/base" + row.path);
    EXPECT_EQ(request.header("Authorization"), "Bearer hunter2");
    EXPECT_EQ(request.header("Expect"), std::nullopt);
    EXPECT_EQ(request.header("Content-Type").value_or(""), row.contentType != nullptr ? row.contentType
                                                           : row.body.is_null()       ? ""
                                                                                      : "application/json");
    if (row.body.is_null()) {
        EXPECT_EQ(request.body, row.contentType != nullptr ? "content" : "");
    } else {
        EXPECT_EQ(json::parse(request.body), row.body);
    }
    if (std::string_view(row.method) == "POST") {
        EXPECT_EQ(request.header("Content-Length"), std::to_string(request.body.size()));
    }
}

INSTANTIATE_TEST_SUITE_P(
    APIClient, Endpoints,
    testing::Values(
        EndpointCase{"createApp",
                     [](auto& client, auto&) {
                         const ServerApp made = client.createApp({"Demo", "com.example.Demo", "key"});
                         EXPECT_EQ(made.id, id);
                         ASSERT_EQ(made.releases.size(), 1U);
                         EXPECT_EQ(made.releases[0].fileSize, 5'000'000'000);
                         EXPECT_EQ(made.releases[0].createdAt, parseISO8601("2026-11-22T09:30:00Z"));
                         EXPECT_EQ(made.releases[0].updatedAt, std::nullopt);
                     },
                     app,
                     "POST",
                     "/v1/apps",
                     {{"name", "Demo"}, {"bundleIdentifier", "com.example.Demo"}, {"edDSAPublicKey", "key"}}},
        EndpointCase{"updateApp",
                     [](auto& client, auto&) {
                         client.updateApp(
                             {.id = id, .customDomain = "d.example", .stripeManagedPayments = true});
                     },
                     app,
                     "POST",
                     "/v1/apps/" + idText,
                     {{"id", idText}, {"customDomain", "d.example"}, {"stripeManagedPayments", true}}},
        EndpointCase{"deleteApp", [](auto& client, auto&) { client.deleteApp(id); }, nullptr, "DELETE",
                     "/v1/apps/" + idText},
        EndpointCase{"uploadAppIcon", [](auto& client, auto& file) { client.uploadAppIcon(file, id); }, app,
                     "POST", "/v1/apps/" + idText + "/icon", nullptr, "application/x-apple-diskimage"},
        EndpointCase{"fetchApp", [](auto& client, auto&) { client.fetchApp("com.Example.demo-1"); }, app,
                     "GET", "/v1/apps/com.Example.demo-1/details"},
        EndpointCase{"fetchUsersApps",
                     [](auto& client, auto&) { EXPECT_TRUE(client.fetchUsersApps().empty()); }, json::array(),
                     "GET", "/v1/users/apps"},
        EndpointCase{"fetchDownloads",
                     [](auto& client, auto&) {
                         EXPECT_EQ(client.fetchDownloads(id), (DownloadsResponse{3, {{"2026-11-22", 3}}}));
                     },
                     {{"total", 3}, {"daily", {{{"date", "2026-11-22"}, {"downloads", 3}}}}},
                     "GET",
                     "/v1/apps/" + idText + "/downloads"},
        EndpointCase{"createRelease",
                     [](auto& client, auto&) {
                         client.createRelease({.title = "1.2 (7)",
                                               .bundleVersion = 7,
                                               .bundleVersionString = "1.2",
                                               .releaseNotes = "n",
                                               .minimumSystemVersion = "13.0",
                                               .fileSize = 5'000'000'000,
                                               .signature = "c2ln",
                                               .isPublished = true,
                                               .appID = id});
                     },
                     release,
                     "POST",
                     "/v1/releases",
                     {{"title", "1.2 (7)"},
                      {"bundleVersion", 7},
                      {"bundleVersionString", "1.2"},
                      {"releaseNotes", "n"},
                      {"minimumSystemVersion", "13.0"},
                      {"fileSize", 5'000'000'000},
                      {"signature", "c2ln"},
                      {"isPublished", true},
                      {"isPhasedRollout", false},
                      {"isCritical", false},
                      {"appID", idText}}},
        EndpointCase{"updateReleasePublished",
                     [](auto& client, auto&) { client.updateRelease({.id = id, .isPublished = false}); },
                     release,
                     "POST",
                     "/v1/releases/" + idText,
                     {{"id", idText}, {"isPublished", false}}},
        EndpointCase{"updateReleaseEdited",
                     [](auto& client, auto&) {
                         client.updateRelease(UpdateReleaseRequest::editing(
                             {.id = id, .title = "t", .bundleVersion = 7, .isPublished = true}));
                     },
                     release,
                     "POST",
                     "/v1/releases/" + idText,
                     {{"id", idText},
                      {"title", "t"},
                      {"releaseNotes", ""},
                      {"minimumSystemVersion", ""},
                      {"channel", ""}, // absent would leave the old one
                      {"isPhasedRollout", false},
                      {"isCritical", false},
                      {"isPublished", true}}},
        EndpointCase{"deleteRelease", [](auto& client, auto&) { client.deleteRelease(id); }, nullptr,
                     "delete", "/v1/releases/" + idText},
        EndpointCase{"uploadBinary",
                     [](auto& client, auto& file) {
                         std::uint64_t sent = 0;
                         client.uploadBinary(file, id, [&](auto done, auto) { sent = done; });
                         EXPECT_EQ(sent, 7U);
                     },
                     release, "POST", "/v1/releases/" + idText + "/upload", nullptr,
                     "application/x-apple-diskimage"},
        EndpointCase{"register",
                     [](auto& client, auto&) {
                         EXPECT_EQ(client.registerUser({"a@example.com", "p", "Ann"}).token, "t");
                     },
                     {{"user", user}, {"token", "t"}},
                     "POST",
                     "/v1/users/register",
                     {{"email", "a@example.com"}, {"password", "p"}, {"name", "Ann"}}},
        EndpointCase{
            "login",
            [](auto& client, auto&) {
                EXPECT_EQ(client.login({"a@example.com", "p"}).user, (User{id, "Ann", "a@example.com"}));
            },
            {{"user", user}, {"token", "t"}},
            "POST",
            "/v1/users/login",
            {{"email", "a@example.com"}, {"password", "p"}}},
        EndpointCase{"logout", [](auto& client, auto&) { client.logout(); }, nullptr, "POST",
                     "/v1/users/logout"},
        EndpointCase{"getUser", [](auto& client, auto&) { client.getUser(); }, user, "GET", "/v1/users"},
        EndpointCase{"updateUser",
                     [](auto& client, auto&) { client.updateUser({"Bo"}); },
                     user,
                     "POST",
                     "/v1/users",
                     {{"name", "Bo"}}},
        EndpointCase{"requestPasswordReset",
                     [](auto& client, auto&) { client.requestPasswordReset("a@example.com"); },
                     {{"message", "m"}},
                     "POST",
                     "/v1/users/password/reset/request",
                     {{"email", "a@example.com"}}},
        EndpointCase{"changePassword",
                     [](auto& client, auto&) { client.changePassword("old", "new"); },
                     {{"message", "m"}},
                     "POST",
                     "/v1/users/password/change",
                     {{"currentPassword", "old"}, {"newPassword", "new"}}}),
    test::CaseName());

TEST(APIClient, namesTheTypeOfAFileByItsExtension) {
    const std::pair<const char*, const char*> types[] = {{"a.dmg", "application/x-apple-diskimage"},
                                                         {"a.ZIP", "application/zip"},
                                                         {"a.png", "image/png"},
                                                         {"a.exotic", "application/octet-stream"},
                                                         {"a", "application/octet-stream"}};
    ScriptedService service(std::vector<test::ServerReply>(std::size(types), {.body = app.dump()}));
    test::TemporaryFolder folder;
    for (std::size_t index = 0; index < std::size(types); ++index) {
        service.client.uploadAppIcon(folder.write(types[index].first, "x"), id);
        EXPECT_EQ(service.server.requests().at(index).header("Content-Type"), types[index].second);
    }
}

} // namespace
} // namespace halvo
