#include <S3/S3Client.h>

#include <Support/FakeClock.h>
#include <Support/FaultServer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using namespace std::chrono_literals;
using Behaviour = test::ServerReply::Behaviour;
using test::FaultServer;
using test::ServerReply;
using testing::HasSubstr;

/// A client of a scripted store, whose waits take no time.
struct ScriptedStore {
    explicit ScriptedStore(std::vector<ServerReply> script) : server(std::move(script)) {}

    S3Client client(std::optional<std::string> sessionToken = {}) {
        return S3Client({"demo", "us-east-1", server.url("/base")},
                        {"AKID", "hunter2", std::move(sessionToken)}, *http, clock, source.get_token(),
                        [] { return 0.0; });
    }

    FaultServer server;
    test::FakeClock clock;
    std::stop_source source;
    std::unique_ptr<HTTPSession> http = makeSystemHTTPSession();
};

ServerReply error(int status, const std::string& code) {
    return {.status = status, .body = "<Error><Code>" + code + "</Code><Message>m</Message></Error>"};
}

TEST(StoreFaults, areRetriedWhenTemporary) {
    const struct {
        const char* name;
        ServerReply reply;
        bool isTemporary;
    } cases[] = {{"slowDown", error(503, "SlowDown"), true},
                 {"badGatewayPage", {.status = 502, .body = "<html>bad</html>"}, true},
                 {"requestTimeoutUnder400", error(400, "RequestTimeout"), true},
                 {"cutBeforeAnswer", {.behaviour = Behaviour::cutBeforeAnswer}, true},
                 {"cutInUpload", {.behaviour = Behaviour::cutInUpload, .readBeforeAnswer = 10'000}, true},
                 {"denied", error(403, "AccessDenied"), false},
                 {"redirect", {.status = 307, .headers = {{"Location", "http://127.0.0.1:1/"}}}, false},
                 {"garbage", {.body = "garbage\r\n\r\n", .behaviour = Behaviour::raw}, false}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const std::string body(300'000, 'x');
        {
            ScriptedStore store({row.reply, row.reply, {}});
            const auto put = [&] { store.client().putObject("a", {.body = viewBytes(body)}); };
            if (row.isTemporary)
                EXPECT_NO_THROW(put());
            else
                EXPECT_THROW(put(), Failure);
            EXPECT_EQ(store.server.requests().size(), row.isTemporary ? 3U : 1U);
            EXPECT_EQ(store.clock.sleeps().size(), row.isTemporary ? 2U : 0U);
        }
        if (row.isTemporary) {
            ScriptedStore store(std::vector<ServerReply>(9, row.reply));
            EXPECT_THROW(store.client().putObject("a", {.body = viewBytes(body)}), Failure);
            EXPECT_EQ(store.server.requests().size(), 5U);
            EXPECT_EQ(store.clock.sleeps(),
                      (std::vector<std::chrono::milliseconds>{250ms, 500ms, 1000ms, 2000ms}));
        }
    }
}

/// Every exchange fails in the same way.
class FailingSession final : public HTTPSession {
public:
    explicit FailingSession(HTTPError::Kind kind) : kind(kind) {}
    HTTPResponse send(const HTTPRequest& request, const std::stop_token&) override {
        EXPECT_EQ(request.timeLimit, 600s);
        ++requests;
        throw HTTPError(kind, "no");
    }
    HTTPError::Kind kind;
    int requests = 0;
};

TEST(S3Client, retriesOnlyWhatAnotherConnectionMayCure) {
    using Kind = HTTPError::Kind;
    for (const Kind kind : {Kind::invalidRequest, Kind::cannotConnect, Kind::connectionLost, Kind::timedOut,
                            Kind::insecure, Kind::responseTooLarge, Kind::notHTTP, Kind::other}) {
        FailingSession http(kind);
        test::FakeClock clock;
        const S3Client client({"demo", "us-east-1", {}}, {"AKID", "hunter2", {}}, http, clock, {});
        EXPECT_THROW(client.getObject("k"), HTTPError);
        EXPECT_EQ(http.requests, kind == Kind::cannotConnect || kind == Kind::connectionLost ? 5 : 1)
            << "kind " << static_cast<int>(kind);
    }
}

TEST(S3Client, sendsOnePlainSignedBody) {
    ScriptedStore store({{}, {}});
    std::uint64_t sent = 0;
    store.client("session//token")
        .putObject("x y/caf\u00e9.zip", {.body = viewBytes("Welcome"),
                                         .contentType = "application/zip",
                                         .progress = [&](auto done, auto) { sent = done; }});
    const test::ReceivedRequest request = store.server.requests().at(0);
    EXPECT_EQ(request.method, "PUT");
    EXPECT_EQ(request.target, "/base/demo/x%20y/caf%C3%A9.zip");
    EXPECT_EQ(request.body, "Welcome");
    EXPECT_EQ(sent, 7U);
    EXPECT_EQ(request.header("Content-Type"), "application/zip");
    EXPECT_EQ(request.header("Content-Length"), "7");
    EXPECT_EQ(request.header("x-amz-content-sha256"), toHex(sha256(viewBytes("Welcome"))));
    EXPECT_EQ(request.header("x-amz-security-token"), "session//token");
    EXPECT_THAT(
        request.header("Authorization").value_or(""),
        HasSubstr("SignedHeaders=content-type;host;x-amz-content-sha256;x-amz-date;x-amz-security-token,"));
    EXPECT_EQ(request.header("Authorization").value_or("").find("hunter2"), std::string::npos);
    for (const char* absent :
         {"Expect", "Transfer-Encoding", "x-amz-acl", "x-amz-checksum-crc32", "Cache-Control"})
        EXPECT_FALSE(request.header(absent)) << absent;
}

TEST(S3Client, signsEachAttemptAfreshAndWaitsAsAsked) {
    ServerReply busy = error(503, "SlowDown");
    busy.headers.emplace_back("Retry-After", "30");
    ScriptedStore store({busy, {.status = 204}});
    store.client().deleteObject("a");
    EXPECT_EQ(store.clock.sleeps(), std::vector<std::chrono::milliseconds>{30s});
    EXPECT_EQ(store.server.requests().at(0).header("x-amz-date"), "20261122T000000Z");
    EXPECT_EQ(store.server.requests().at(1).header("x-amz-date"), "20261122T000030Z");
}

TEST(S3Client, findsTheErrorInsideASuccessfulCopy) {
    const std::string result = "<CopyObjectResult><ETag>\"e\"</ETag></CopyObjectResult>";
    {
        ScriptedStore store({error(200, "InternalError"), {.body = "<CopyObj"}, {.body = result}});
        EXPECT_NO_THROW(store.client().copyObject("a b", "c"));
        EXPECT_EQ(store.server.requests().size(), 3U);
        EXPECT_EQ(store.server.requests().at(0).header("x-amz-copy-source"), "demo/a%20b");
        EXPECT_EQ(store.server.requests().at(0).header("Content-Length"), "0");
    }
    ScriptedStore store({error(200, "AccessDenied"), {.body = result}});
    EXPECT_THROW(store.client().copyObject("a", "c"), S3Error);
    EXPECT_EQ(store.server.requests().size(), 1U);
}

TEST(S3Client, takesOnlyAPlainNoSuchKeyForAnAbsence) {
    ScriptedStore store(
        {error(404, "NoSuchKey"), error(404, "NoSuchBucket"), {.status = 404}, {.body = "feed"}});
    const S3Client client = store.client();
    EXPECT_FALSE(client.getObject("k"));
    EXPECT_THROW(client.getObject("k"), S3Error);
    EXPECT_THROW(client.getObject("k"), S3Error);
    EXPECT_EQ(client.getObject("k").value().bytes, copyBytes("feed"));
}

TEST(S3Client, namesTheRegionOfABucketThatIsElsewhere) {
    ScriptedStore store({{.status = 400, .headers = {{"x-amz-bucket-region", "eu-central-1"}}}});
    try {
        store.client().headBucket();
        FAIL();
    } catch (const S3Error& failure) {
        EXPECT_THAT(failure.description(), HasSubstr("use that region"));
        EXPECT_THAT(failure.description(), HasSubstr("eu-central-1"));
    }
    EXPECT_EQ(store.server.requests().at(0).method, "HEAD");
    EXPECT_EQ(store.server.requests().at(0).target, "/base/demo");
}

TEST(S3Client, stopsWaitingWhenCancelled) {
    ScriptedStore store(std::vector<ServerReply>(3, error(503, "SlowDown")));
    const S3Client client = store.client();
    store.source.request_stop();
    EXPECT_THROW(client.headBucket(), CancelledError);
    EXPECT_TRUE(store.server.requests().empty());
}

} // namespace
} // namespace halvo
