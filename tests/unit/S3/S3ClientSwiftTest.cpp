#include <S3/S3Client.h>

#include <Support/SwiftServer.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::SwiftServer;

class RealStore : public testing::Test {
protected:
    S3Client client(const std::string& secret = SwiftServer::secretAccessKey,
                    const std::string& bucket = "demo") {
        return S3Client({bucket, SwiftServer::region, server.endpoint()},
                        {SwiftServer::accessKeyID, secret, {}}, *http, clock, {});
    }

    /// The code of the S3Error that `operation` must throw.
    template<typename Operation>
    std::string codeOf(Operation operation) {
        try {
            operation();
        } catch (const S3Error& error) {
            return error.details.code;
        }
        return "(no failure)";
    }

    SwiftServer server{{"demo"}};
    SystemClock clock;
    std::unique_ptr<HTTPSession> http = makeSystemHTTPSession();
};

TEST_F(RealStore, keepsEveryKeyApartAndExact) {
    const std::vector<std::string> keys = {"plain.dmg",
                                           "apps/x/My App.dmg",
                                           "a+b.zip",
                                           "a b.zip",
                                           "user@host",
                                           "100%.zip",
                                           "100%25.zip",
                                           "caf\u00e9.zip",
                                           "cafe\u0301.zip",
                                           "a//b",
                                           "~!*'() &=?#.txt",
                                           "semi;colon,comma:",
                                           "\u65e5\u672c/\U0001F600.zip",
                                           "dots/../up",
                                           "dots/./here",
                                           "quote\"<>`{}|\\^[]",
                                           "end/"};
    const S3Client store = client();
    for (const std::string& key : keys)
        store.putObject(key, {.body = viewBytes("body of " + key), .contentType = "text/plain"});
    for (const std::string& key : keys)
        EXPECT_EQ(store.getObject(key).value().bytes, copyBytes("body of " + key)) << key;
    for (const std::string& key : keys)
        store.copyObject(key, "copies/" + key + " again+");
    for (const std::string& key : keys)
        EXPECT_EQ(store.getObject("copies/" + key + " again+").value().bytes, copyBytes("body of " + key)) << key;
    for (const std::string& key : keys)
        store.deleteObject(key);
    for (const std::string& key : keys)
        EXPECT_FALSE(store.getObject(key)) << key;
}

TEST_F(RealStore, givesItsVerdicts) {
    const S3Client store = client();
    EXPECT_NO_THROW(store.headBucket());
    store.putObject("empty", {});
    EXPECT_EQ(store.getObject("empty").value().bytes, Bytes());
    EXPECT_FALSE(store.getObject("missing"));
    EXPECT_EQ(codeOf([&] { store.copyObject("missing", "there"); }), "NoSuchKey");

    EXPECT_EQ(codeOf([&] { client("wrong").headBucket(); }), "Forbidden");
    EXPECT_EQ(codeOf([&] { client("wrong").putObject("a", {.body = viewBytes("x")}); }),
              "SignatureDoesNotMatch");
    EXPECT_EQ(codeOf([&] { client("wrong").getObject("a"); }), "SignatureDoesNotMatch");
    EXPECT_EQ(codeOf([&] { client(SwiftServer::secretAccessKey, "absent").headBucket(); }), "NotFound");
    EXPECT_EQ(codeOf([&] { client(SwiftServer::secretAccessKey, "absent").getObject("a"); }), "NoSuchBucket");

    // A body that is not what was signed is refused, and nothing is stored.
    const SHA256Digest otherHash = sha256(viewBytes("other"));
    EXPECT_EQ(codeOf([&] { store.putObject("forged", {.body = viewBytes("x"), .bodyHash = otherHash}); }),
              "BadDigest");
    EXPECT_FALSE(store.getObject("forged"));
}

TEST_F(RealStore, takesALargeBody) {
    std::string body;
    for (int number = 0; body.size() < 20'000'000; ++number)
        body += std::to_string(number) + " ";
    std::uint64_t sent = 0;
    const S3Client store = client();
    store.putObject("large", {.body = viewBytes(body), .progress = [&](auto done, auto) { sent = done; }});
    EXPECT_EQ(sent, body.size());
    EXPECT_EQ(store.getObject("large").value().bytes, copyBytes(body));
}

} // namespace
} // namespace halvo
