#include <S3/S3Response.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using testing::HasSubstr;
using testing::Not;

std::string document(const std::string& code, const std::string& message, const std::string& more = "") {
    return "<Error><Code>" + code + "</Code><Message>" + message + "</Message>" + more + "</Error>";
}

TEST(ErrorResponses, areReadAndDescribed) {
    const std::string noDocument = ": The store gave no S3 error document.";
    const struct {
        const char* name;
        int status;
        std::string body;
        std::string description; ///< what follows is told of every failure here
        bool isTemporary = false;
        bool isMissing = false;
        std::vector<HTTPHeader> headers{};
    } cases[] = {
        {"plain", 404,
         "<?xml version=\"1.0\"?>\n" + document("NoSuchKey", "The key does not exist.", "<Key>k</Key>"),
         "NoSuchKey: The key does not exist.", false, true},
        {"withNamespace", 404,
         "<e:Error xmlns:e=\"http://s3.amazonaws.com/doc/2006-03-01/\"><e:Code> "
         "NoSuchKey\n</e:Code></e:Error>",
         "NoSuchKey", false, true},
        {"missingBucket", 404, document("NoSuchBucket", "None."), "NoSuchBucket: None."},
        {"page", 404, "<html><body>Not here</body></html>", "NotFound" + noDocument},
        {"cutShort", 503, "<Error><Code>SlowDown</Co", "ServiceUnavailable" + noDocument, true},
        {"clock", 403, document("RequestTimeTooSkewed", "Too large."),
         "RequestTimeTooSkewed: Too large. Set the clock of this computer and try again."},
        {"redirectToARegion",
         301,
         document("PermanentRedirect", "Elsewhere.", "<Endpoint>e</Endpoint>"),
         "PermanentRedirect: Elsewhere. The bucket is in region eu-west-1: use that region.",
         false,
         false,
         {{"x-amz-bucket-region", "eu-west-1"}}},
        {"redirectToAnEndpoint", 307,
         document("TemporaryRedirect", "Elsewhere.", "<Endpoint>s3.example</Endpoint>"),
         "TemporaryRedirect: Elsewhere. The bucket is at s3.example: use its region or endpoint."},
        {"terminalCodes", 400, document("Bad", "a&#10;b\u009b31m\x7f"), "Bad: a b 31m "},
        {"entitiesAreNotRead", 400,
         "<!DOCTYPE x [<!ENTITY a SYSTEM \"file:///etc/hostname\">]><Error><Code>&a;</Code></Error>",
         "BadRequest" + noDocument}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const S3Error error =
            readS3Error({.status = row.status, .headers = row.headers, .body = copyBytes(row.body)},
                        {.operation = "GetObject", .bucket = "demo", .key = "k"});
        EXPECT_EQ(error.description(),
                  row.description + " (GetObject demo/k, status " + std::to_string(row.status) + ")");
        EXPECT_EQ(error.details.isTemporary, row.isTemporary);
        EXPECT_EQ(error.isMissingObject(), row.isMissing);
    }
}

TEST(S3Error, repeatsNeitherFloodsNorWhatWasSigned) {
    const std::string body = document("SignatureDoesNotMatch", std::string(5000, 'm'),
                                      "<RequestId>R1</RequestId><StringToSign>hunter2</StringToSign>");
    const S3Error error = readS3Error({.status = 403, .body = copyBytes(body)}, {});
    EXPECT_LT(error.description().size(), 1000U);
    EXPECT_THAT(error.description(), HasSubstr("request id R1"));
    EXPECT_THAT(error.description(), Not(HasSubstr("hunter2")));
}

TEST(S3Error, saysWhatAMissingOrForbiddenBucketIs) {
    const auto describe = [](int status) {
        return readS3Error({.status = status}, {.operation = "HeadBucket", .bucket = "demo"}).description();
    };
    EXPECT_EQ(describe(404), "NotFound: There is no bucket \"demo\". (HeadBucket demo, status 404)");
    EXPECT_EQ(
        describe(403),
        "Forbidden: The access key has no access to the bucket \"demo\". (HeadBucket demo, status 403)");
}

} // namespace
} // namespace halvo
