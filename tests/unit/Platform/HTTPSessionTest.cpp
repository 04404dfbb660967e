#include <Platform/HTTPSession.h>

#include <Support/FaultServer.h>

#include <cstdlib>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::FaultServer;
using test::ServerReply;
using testing::ElementsAre;

class HTTPSessionTest : public testing::Test {
protected:
    HTTPResponse send(const HTTPRequest& request) { return session->send(request, {}); }

    std::unique_ptr<HTTPSession> session = makeSystemHTTPSession();
};

TEST_F(HTTPSessionTest, givesStatusHeadersAndBody) {
    FaultServer server({{.status = 404, .body = "gone\0!", .headers = {{"X-Trace", "a"}, {"x-trace", "b"}}}});
    const HTTPResponse response = send({.url = server.url("/a")});
    EXPECT_EQ(response.status, 404);
    EXPECT_EQ(response.text(), "gone");
    EXPECT_EQ(response.header("x-TRACE"), "a");
    EXPECT_FALSE(response.header("X-Absent"));
}

TEST_F(HTTPSessionTest, sendsPathAndQueryAsTheyStand) {
    FaultServer server({{}});
    const std::string target = "/a/../b//c/./%7e%2F%20+~!*'();:@&=$,?x=%41&y=a+b&&z";
    send({.url = server.url(target)});
    EXPECT_EQ(server.requests().at(0).target, target);
}

TEST_F(HTTPSessionTest, sendsEveryHeaderOnceAndNoneOfItsOwnForTheBody) {
    FaultServer server({{}});
    send({.method = "PUT",
          .url = server.url(),
          .headers = {{"Content-Type", "text/plain"}, {"X-Empty", ""}, {"Content-Length", "3"}},
          .body = viewBytes("abc"),
          .hasBody = true});
    const test::ReceivedRequest request = server.requests().at(0);
    EXPECT_EQ(request.body, "abc");
    EXPECT_EQ(request.header("X-Empty"), "");
    EXPECT_EQ(request.header("Content-Type"), "text/plain");
    EXPECT_FALSE(request.header("Expect"));
    EXPECT_FALSE(request.header("Transfer-Encoding"));
    EXPECT_EQ(
        std::ranges::count_if(request.headers, [](const auto& h) { return h.first == "Content-Length"; }), 1);
}

TEST_F(HTTPSessionTest, sendsMethodsAsWritten) {
    const struct {
        const char* method;
        bool hasBody;
        const char* contentLength; ///< null: none is sent
    } cases[] = {{"GET", false, nullptr},
                 {"post", true, "0"},
                 {"PUT", true, "0"},
                 {"DELETE", false, nullptr},
                 {"HEAD", false, nullptr}};
    for (const auto& row : cases) {
        SCOPED_TRACE(&row - cases);
        FaultServer server({{.body = "yes"}, {.body = "next"}});
        const HTTPRequest request{.method = row.method, .url = server.url(), .hasBody = row.hasBody};
        EXPECT_EQ(send(request).status, 200);
        // The next exchange on the same connection shows that the answer was read to its end and no further.
        EXPECT_EQ(send({.url = server.url()}).text(), "next");

        const auto requests = server.requests();
        ASSERT_EQ(requests.size(), 2U);
        EXPECT_EQ(requests[0].method, row.method);
        EXPECT_EQ(requests[1].connection, requests[0].connection);
        const char* length = row.contentLength;
        EXPECT_EQ(requests[0].header("Content-Length"),
                  length ? std::optional<std::string>(length) : std::nullopt);
        EXPECT_FALSE(requests[0].header("Content-Type"));
        EXPECT_FALSE(requests[0].header("Transfer-Encoding"));
    }
}

TEST_F(HTTPSessionTest, reportsHowMuchOfABodyWentOut) {
    FaultServer server({{.status = 201}});
    const std::string body(5'000'000, 'x');
    std::vector<std::uint64_t> sent;
    send({.method = "PUT",
          .url = server.url(),
          .body = viewBytes(body),
          .hasBody = true,
          .progress = [&](std::uint64_t done, std::uint64_t total) {
              EXPECT_EQ(total, body.size());
              sent.push_back(done);
          }});
    EXPECT_EQ(server.requests().at(0).body, body);
    EXPECT_GT(sent.size(), 2U);
    EXPECT_TRUE(std::ranges::is_sorted(sent));
    EXPECT_EQ(sent.back(), body.size());
    EXPECT_EQ(std::ranges::adjacent_find(sent), sent.end()) << "the same number was reported twice";
}

TEST_F(HTTPSessionTest, passesOnWhatProgressThrows) {
    FaultServer server({{}});
    const std::string body(1'000'000, 'x');
    EXPECT_THROW(send({.method = "PUT",
                       .url = server.url(),
                       .body = viewBytes(body),
                       .hasBody = true,
                       .progress = [](auto, auto) { throw std::out_of_range("enough"); }}),
                 std::out_of_range);
}

TEST_F(HTTPSessionTest, decompressesTheBody) {
    const std::string gzip(
        "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xcb\x48\xcd\xc9\xc9\x07\x00\x86\xa6\x10\x36"
        "\x05\x00\x00\x00",
        25);
    FaultServer server({{.body = gzip, .headers = {{"Content-Encoding", "gzip"}}}});
    EXPECT_EQ(send({.url = server.url()}).text(), "hello");
    EXPECT_THAT(server.requests().at(0).header("Accept-Encoding").value_or(""), testing::HasSubstr("gzip"));
}

TEST_F(HTTPSessionTest, doesNotFollowRedirects) {
    FaultServer server({{.status = 302, .headers = {{"Location", "/elsewhere"}}}});
    const HTTPResponse response = send({.url = server.url(), .headers = {{"Authorization", "Bearer t"}}});
    EXPECT_EQ(response.status, 302);
    EXPECT_EQ(response.header("Location"), "/elsewhere");
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(HTTPSessionTest, passesOverInterimResponses) {
    FaultServer server({{.body = "HTTP/1.1 100 Continue\r\nX-Interim: 1\r\n\r\n"
                                 "HTTP/1.1 103 Early Hints\r\nX-Interim: 1\r\n\r\n"
                                 "HTTP/1.1 200 OK\r\nContent-Length: 2\r\n\r\nok",
                         .behaviour = ServerReply::Behaviour::raw}});
    const HTTPResponse response = send({.url = server.url()});
    EXPECT_EQ(response.status, 200);
    EXPECT_EQ(response.text(), "ok");
    EXPECT_FALSE(response.header("X-Interim"));
}

TEST_F(HTTPSessionTest, servesSeveralThreads) {
    constexpr std::size_t threads = 4;
    constexpr std::size_t requestsEach = 20;
    FaultServer server(std::vector<ServerReply>(threads * requestsEach, ServerReply{.body = "ok"}));
    {
        std::vector<std::jthread> clients;
        for (std::size_t index = 0; index < threads; ++index)
            clients.emplace_back([&] {
                for (std::size_t count = 0; count < requestsEach; ++count)
                    EXPECT_EQ(send({.url = server.url()}).text(), "ok");
            });
    }
    std::size_t connections = 0;
    for (const auto& request : server.requests())
        connections = std::max(connections, request.connection);
    EXPECT_LE(connections, threads);
}

TEST_F(HTTPSessionTest, asksTheProxyOfTheEnvironment) {
    FaultServer proxy({{.body = "from the proxy"}});
    ::setenv("http_proxy", proxy.url("").c_str(), 1);
    const HTTPResponse response = send({.url = "http://halvo.invalid/a?b"});
    ::unsetenv("http_proxy");
    EXPECT_EQ(response.text(), "from the proxy");
    EXPECT_EQ(proxy.requests().at(0).target, "http://halvo.invalid/a?b");
}

} // namespace
} // namespace halvo
