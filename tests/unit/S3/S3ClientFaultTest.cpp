#include <S3/S3Client.h>

#include <Support/CaseName.h>
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

struct FaultCase {
    const char* name;
    ServerReply reply;
    bool isTemporary;
};

class StoreFaults : public testing::TestWithParam<FaultCase> {};

TEST_P(StoreFaults, areRetriedWhenTemporary) {
    const std::string body(300'000, 'x');
    {
        ScriptedStore store({GetParam().reply, GetParam().reply, {}});
        const auto put = [&] { store.client().putObject("a", {.body = viewBytes(body)}); };
        if (GetParam().isTemporary)
            EXPECT_NO_THROW(put());
        else
            EXPECT_THROW(put(), Failure);
        EXPECT_EQ(store.server.requests().size(), GetParam().isTemporary ? 3U : 1U);
        EXPECT_EQ(store.clock.sleeps().size(), GetParam().isTemporary ? 2U : 0U);
    }
    if (GetParam().isTemporary) {
        ScriptedStore store(std::vector<ServerReply>(9, GetParam().reply));
        EXPECT_THROW(store.client().putObject("a", {.body = viewBytes(body)}), Failure);
        EXPECT_EQ(store.server.requests().size(), 5U);
        EXPECT_EQ(store.clock.sleeps(),
                  (std::vector<std::chrono::milliseconds>{250ms, 500ms, 1000ms, 2000ms}));
    }
}

INSTANTIATE_TEST_SUITE_P(
    S3, StoreFaults,
    testing::Values(
        FaultCase{"slowDown", error(503, "SlowDown"), true},
        FaultCase{"tooManyRequests", error(429, "TooManyRequests"), true},
        FaultCase{"internalError", error(500, "InternalError"), true},
        FaultCase{"badGatewayPage", {.status = 502, .body = "<html>bad</html>"}, true},
        FaultCase{"gatewayTimeout", {.status = 504}, true},
        FaultCase{"requestTimeoutUnder400", error(400, "RequestTimeout"), true},
        FaultCase{"cutBeforeAnswer", {.behaviour = Behaviour::cutBeforeAnswer}, true},
        FaultCase{"cutInUpload", {.behaviour = Behaviour::cutInUpload, .readBeforeAnswer = 10'000}, true},
        FaultCase{"denied", error(403, "AccessDenied"), false},
        FaultCase{"badRequest", error(400, "EntityTooLarge"), false},
        FaultCase{"conflict", error(409, "OperationAborted"), false},
        FaultCase{"redirect", {.status = 307, .headers = {{"Location", "http://127.0.0.1:1/"}}}, false},
        FaultCase{"garbage", {.body = "garbage\r\n\r\n", .behaviour = Behaviour::raw}, false}),
    test::CaseName());

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
    for (const char* absent :
         {"Expect", "Transfer-Encoding", "x-amz-acl", "x-amz-checksum-crc32", "Cache-Control"})
        EXPECT_FALSE(request.header(absent)) << absent;
}

TEST(S3Client, takesAHashThatIsKnown) {
    ScriptedStore store({ServerReply{}});
    const SHA256Digest hash = sha256(viewBytes("not the body, to see that it is taken"));
    store.client().putObject("a", {.body = viewBytes("body"), .bodyHash = hash});
    EXPECT_EQ(store.server.requests().at(0).header("x-amz-content-sha256"), toHex(hash));
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
    EXPECT_EQ(client.getObject("k"), std::nullopt);
    EXPECT_THROW(client.getObject("k"), S3Error);
    EXPECT_THROW(client.getObject("k"), S3Error);
    EXPECT_EQ(client.getObject("k"), copyBytes("feed"));
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

TEST(S3Client, reportsTheRefusalThatCutsAnUploadShort) {
    const std::string body(8'000'000, 'x');
    ServerReply refusal = error(403, "AccessDenied");
    refusal.behaviour = Behaviour::answerEarly;
    ScriptedStore store({refusal});
    try {
        store.client().putObject("a", {.body = viewBytes(body)});
        FAIL();
    } catch (const S3Error& failure) {
        EXPECT_EQ(failure.details.code, "AccessDenied");
    }
    EXPECT_EQ(store.server.requests().size(), 1U);
}

} // namespace
} // namespace halvo
