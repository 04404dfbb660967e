#include <S3/S3Response.h>

#include <Support/CaseName.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using testing::HasSubstr;
using testing::Not;

struct ErrorCase {
    const char* name;
    int status;
    std::vector<HTTPHeader> headers;
    const char* body;
    const char* description;
    bool isTemporary = false;
    bool isMissing = false;
};

class ErrorResponses : public testing::TestWithParam<ErrorCase> {};

TEST_P(ErrorResponses, areReadAndDescribed) {
    const ErrorCase& row = GetParam();
    const S3Error error =
        readS3Error({.status = row.status, .headers = row.headers, .body = copyBytes(row.body)},
                    {.operation = "GetObject", .bucket = "demo", .key = "k"});
    EXPECT_EQ(error.description(), row.description);
    EXPECT_EQ(error.details.isTemporary, row.isTemporary);
    EXPECT_EQ(error.isMissingObject(), row.isMissing);
}

INSTANTIATE_TEST_SUITE_P(
    S3, ErrorResponses,
    testing::Values(
        ErrorCase{
            "plain",
            404,
            {},
            "<?xml version=\"1.0\"?>\n<Error><Code>NoSuchKey</Code><Message>The specified key does not exist."
            "</Message><Key>k</Key><RequestId>R1</RequestId></Error>",
            "NoSuchKey: The specified key does not exist. (GetObject demo/k, status 404, request id R1)",
            false,
            true},
        ErrorCase{"withNamespace",
                  404,
                  {{"X-Amz-Request-Id", "R2"}},
                  "<e:Error xmlns:e=\"http://s3.amazonaws.com/doc/2006-03-01/\"><e:Code> "
                  "NoSuchKey\n</e:Code></e:Error>",
                  "NoSuchKey (GetObject demo/k, status 404, request id R2)",
                  false,
                  true},
        ErrorCase{"missingBucketIsNoMissingObject",
                  404,
                  {},
                  "<Error><Code>NoSuchBucket</Code></Error>",
                  "NoSuchBucket (GetObject demo/k, status 404)"},
        ErrorCase{"page",
                  404,
                  {},
                  "<html><body>Not here</body></html>",
                  "NotFound: The store gave no S3 error document. (GetObject demo/k, status 404)"},
        ErrorCase{"empty",
                  403,
                  {},
                  "",
                  "Forbidden: The store gave no S3 error document. (GetObject demo/k, status 403)"},
        ErrorCase{"cutShort",
                  503,
                  {},
                  "<Error><Code>SlowDown</Co",
                  "ServiceUnavailable: The store gave no S3 error document. (GetObject demo/k, status 503)",
                  true},
        ErrorCase{"slowDownUnderAnotherStatus",
                  400,
                  {},
                  "<Error><Code>SlowDown</Code></Error>",
                  "SlowDown (GetObject demo/k, status 400)",
                  true},
        ErrorCase{
            "clock",
            403,
            {},
            "<Error><Code>RequestTimeTooSkewed</Code><Message>The difference is too large.</Message></Error>",
            "RequestTimeTooSkewed: The difference is too large. Set the clock of this computer and try "
            "again. "
            "(GetObject demo/k, status 403)"},
        ErrorCase{"redirectNamesRegionOfHeader",
                  301,
                  {{"x-amz-bucket-region", "eu-west-1"}},
                  "<Error><Code>PermanentRedirect</Code><Message>Elsewhere.</Message><Endpoint>e</Endpoint></"
                  "Error>",
                  "PermanentRedirect: Elsewhere. The bucket is in region eu-west-1: use that region. "
                  "(GetObject demo/k, status 301)"},
        ErrorCase{
            "redirectNamesEndpoint",
            307,
            {},
            "<Error><Code>TemporaryRedirect</Code><Message>Elsewhere.</Message>"
            "<Endpoint>s3.example.com</Endpoint></Error>",
            "TemporaryRedirect: Elsewhere. The bucket is at s3.example.com: use its region or endpoint. "
            "(GetObject demo/k, status 307)"},
        ErrorCase{"redirectWithoutBody",
                  301,
                  {{"x-amz-bucket-region", "eu-west-1"}},
                  "",
                  "PermanentRedirect: The bucket is not at this address. The bucket is in region eu-west-1: "
                  "use that "
                  "region. (GetObject demo/k, status 301)"},
        ErrorCase{"wrongRegionInSignature",
                  400,
                  {},
                  "<Error><Code>AuthorizationHeaderMalformed</Code><Message>Wrong.</Message>"
                  "<Region>ap-south-1</Region></Error>",
                  "AuthorizationHeaderMalformed: Wrong. The bucket is in region ap-south-1: use that region. "
                  "(GetObject demo/k, status 400)"},
        ErrorCase{"errorInside200",
                  200,
                  {},
                  "<Error><Code>InternalError</Code></Error>",
                  "InternalError (GetObject demo/k, status 200)",
                  true},
        ErrorCase{"terminalCodes",
                  400,
                  {},
                  "<Error><Code>Bad</Code><Message>a&#10;b\u009b31m\x7f</Message></Error>",
                  "Bad: a b 31m  (GetObject demo/k, status 400)"},
        ErrorCase{"entitiesAreNotRead",
                  400,
                  {},
                  "<!DOCTYPE x [<!ENTITY a SYSTEM \"file:///etc/hostname\">]><Error><Code>&a;</Code></Error>",
                  "BadRequest: The store gave no S3 error document. (GetObject demo/k, status 400)"}),
    test::CaseName());

TEST(S3Error, repeatsNeitherFloodsNorWhatWasSigned) {
    const std::string body = "<Error><Code>SignatureDoesNotMatch</Code><Message>" + std::string(5000, 'm') +
                             "</Message><StringToSign>hunter2</StringToSign></Error>";
    const S3Error error = readS3Error({.status = 403, .body = copyBytes(body)}, {});
    EXPECT_LT(error.description().size(), 1000U);
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
