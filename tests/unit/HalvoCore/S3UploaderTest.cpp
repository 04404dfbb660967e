#include <HalvoCore/S3Uploader.h>

#include <Platform/Files.h>
#include <Support/FakeClock.h>
#include <Support/FaultServer.h>
#include <Support/SwiftServer.h>
#include <Support/TemporaryFolder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::FaultServer;
using test::ServerReply;
using test::SwiftServer;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

class RecordingLog final : public Log {
public:
    void write(LogLevel level, std::string_view component, std::string_view message) override {
        EXPECT_EQ(component, "S3Uploader");
        EXPECT_EQ(level == LogLevel::error, message.find(" failed - ") != message.npos);
        messages.emplace_back(message);
    }
    /// The messages since the last call.
    std::vector<std::string> take() { return std::exchange(messages, {}); }

private:
    std::vector<std::string> messages;
};

class S3UploaderTest : public testing::Test {
protected:
    S3Uploader uploader(const std::string& endpoint,
                        const std::string& secret = SwiftServer::secretAccessKey) {
        S3Configuration configuration{.bucket = "demo",
                                      .region = SwiftServer::region,
                                      .pathPrefix = "apps/x",
                                      .publicBaseURL = *URL::parse("https://dl.example.com/files"),
                                      .appcastPath = "appcast.xml"};
        if (!endpoint.empty())
            configuration.endpoint = URL::parse(endpoint);
        return {configuration, {SwiftServer::accessKeyID, secret}, {}, *http, clock, log, source.get_token()};
    }

    std::unique_ptr<HTTPSession> http = makeSystemHTTPSession();
    SystemClock systemClock;
    test::FakeClock fakeClock{systemClock.now()}; // signatures must be of today, retries need not wait
    Clock& clock = fakeClock;
    RecordingLog log;
    std::stop_source source;
    test::TemporaryFolder folder;
};

TEST_F(S3UploaderTest, publishesOnARealStore) {
    const SwiftServer server({"demo"});
    const S3Uploader store = uploader(server.endpoint());
    store.verify();
    EXPECT_THAT(log.take(),
                ElementsAre("S3 verify starting - Bucket: demo", "S3 verify succeeded - Bucket: demo"));

    EXPECT_EQ(store.downloadAppcast(), std::nullopt);
    EXPECT_THAT(log.take(), ElementsAre("S3 download starting - Key: apps/x/appcast.xml",
                                        "S3 download - appcast not found (expected for new apps)"));

    std::uint64_t sent = 0;
    const URL archive = URL::file(folder.write("My App+1.zip", "archive"));
    const URL address = store.upload(archive, "My App+1.zip", "application/zip",
                                     [&](std::uint64_t done, std::uint64_t) { sent = done; });
    EXPECT_EQ(address.absoluteString(), "https://dl.example.com/files/apps/x/My%20App%2B1.zip");
    EXPECT_EQ(sent, 7U);
    EXPECT_THAT(log.take(), ElementsAre("S3 upload starting - Key: apps/x/My App+1.zip, Size: 7 bytes",
                                        "S3 upload succeeded - Key: apps/x/My App+1.zip"));

    // The prefix goes before both keys of a copy, which is read back under the name of the feed.
    store.copy("My App+1.zip", "appcast.xml");
    EXPECT_THAT(
        log.take(),
        ElementsAre("S3 copy starting - Source: apps/x/My App+1.zip, Destination: apps/x/appcast.xml",
                    "S3 copy succeeded - Source: apps/x/My App+1.zip, Destination: apps/x/appcast.xml"));
    EXPECT_EQ(store.downloadAppcast(), copyBytes("archive"));
    EXPECT_THAT(log.take(), ElementsAre("S3 download starting - Key: apps/x/appcast.xml",
                                        "S3 download succeeded - Key: apps/x/appcast.xml"));

    store.deleteFullKey("apps/x/appcast.xml");
    EXPECT_THAT(log.take(), ElementsAre("S3 delete starting - Key: apps/x/appcast.xml",
                                        "S3 delete succeeded - Key: apps/x/appcast.xml"));
    EXPECT_EQ(store.downloadAppcast(), std::nullopt);
    store.deleteKey("My App+1.zip");
    EXPECT_THROW(store.copy("My App+1.zip", "appcast.xml"), S3UploadError);
}

TEST_F(S3UploaderTest, reportsRefusalsWithTheStoresWordsAndNoSecret) {
    FaultServer server(std::vector<ServerReply>(
        5, {.status = 403,
            .body = "<Error><Code>AccessDenied</Code><Message>Access Denied.</Message></Error>"}));
    const S3Uploader store = uploader(server.url(""), "hunter2");
    const auto failureOf = [&](auto operation) -> std::string {
        try {
            operation();
        } catch (const S3UploadError& error) {
            return error.description();
        }
        return "(no failure)";
    };
    EXPECT_THAT(failureOf([&] { store.downloadAppcast(); }),
                StartsWith("S3 download failed: AccessDenied: "));
    EXPECT_THAT(failureOf([&] { store.copy("a", "b"); }), StartsWith("S3 copy failed: AccessDenied: "));
    EXPECT_THAT(failureOf([&] { store.deleteKey("a"); }), StartsWith("S3 delete failed: AccessDenied: "));
    EXPECT_THAT(failureOf([&] { store.verify(); }), StartsWith("S3 upload failed: Forbidden: "));
    EXPECT_THAT(failureOf([&] { store.upload(viewBytes("x"), "a", "text/plain"); }),
                StartsWith("S3 upload failed: AccessDenied: "));
    const auto messages = log.take();
    EXPECT_THAT(messages, testing::Each(Not(HasSubstr("hunter2"))));
    EXPECT_THAT(messages.back(),
                AllOf(StartsWith("S3 upload failed - Bucket: demo, Region: us-east-1, Endpoint: " +
                                 server.url("") + ", Error: AccessDenied: Access Denied."),
                      HasSubstr("status 403")));
}

/// Never answers: a session for failures on the way to a store that must not be asked.
class UnreachableSession final : public HTTPSession {
public:
    HTTPResponse send(const HTTPRequest& request, const std::stop_token&) override {
        address = request.url;
        throw HTTPError(HTTPError::Kind::insecure, "no");
    }
    std::string address;
};

TEST_F(S3UploaderTest, asksAmazonWithoutAnEndpointAndSaysDefault) {
    http = std::make_unique<UnreachableSession>();
    EXPECT_THROW(uploader("").verify(), S3UploadError);
    EXPECT_EQ(static_cast<UnreachableSession&>(*http).address, "https://demo.s3.us-east-1.amazonaws.com");
    EXPECT_EQ(log.take().back(),
              "S3 verify failed - Bucket: demo, Region: us-east-1, Endpoint: default, Error: no");
}

TEST_F(S3UploaderTest, namesAFileThatIsNotThere) {
    const URL missing = URL::file(folder / "no app.zip");
    try {
        uploader("http://127.0.0.1:1").upload(missing, "a.zip", "application/zip");
        FAIL();
    } catch (const S3UploadError& error) {
        EXPECT_TRUE(std::holds_alternative<S3UploadError::FileNotFound>(error.which));
        EXPECT_EQ(error.description(), "File not found: " + (folder / "no app.zip").string());
    }
    EXPECT_THROW(uploader("http://127.0.0.1:1").upload(URL::file(folder.path()), "a", "b"), FileError);
    EXPECT_TRUE(log.take().empty());
}

TEST_F(S3UploaderTest, leavesACancellationWhatItIs) {
    source.request_stop();
    FaultServer server({ServerReply{}});
    EXPECT_THROW(uploader(server.url("")).verify(), CancelledError);
}

} // namespace
} // namespace halvo
