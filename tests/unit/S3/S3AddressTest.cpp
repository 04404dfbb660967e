#include <S3/S3Address.h>

#include <S3/S3Error.h>
#include <Support/CaseName.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

struct AddressCase {
    const char* name;
    S3Location location;
    const char* key;
    const char* url;
};

class ObjectURL : public testing::TestWithParam<AddressCase> {};

TEST_P(ObjectURL, isBuilt) { EXPECT_EQ(objectURL(GetParam().location, GetParam().key), GetParam().url); }

const S3Location amazon{"demo", "eu-west-1", std::nullopt};

INSTANTIATE_TEST_SUITE_P(
    S3, ObjectURL,
    testing::Values(
        AddressCase{"amazon", amazon, "a/b.dmg", "https://demo.s3.eu-west-1.amazonaws.com/a/b.dmg"},
        AddressCase{
            "china", {"demo", "cn-north-1", {}}, "k", "https://demo.s3.cn-north-1.amazonaws.com.cn/k"},
        AddressCase{"dotsInTheBucket",
                    {"dl.example.com", "us-east-1", {}},
                    "k",
                    "https://s3.us-east-1.amazonaws.com/dl.example.com/k"},
        AddressCase{"oldBucketName",
                    {"My_Demo", "us-east-1", {}},
                    "k",
                    "https://s3.us-east-1.amazonaws.com/My_Demo/k"},
        AddressCase{"endpoint",
                    {"demo", "auto", "https://acc.r2.example.com"},
                    "k",
                    "https://acc.r2.example.com/demo/k"},
        AddressCase{
            "endpointWithPortAndPath", {"demo", "r", "http://h:9000/s3/"}, "k", "http://h:9000/s3/demo/k"},
        AddressCase{"endpointWithQuery", {"demo", "r", "http://h/?a=b#c"}, "k", "http://h/demo/k"},
        AddressCase{"anyRegionWithEndpoint", {"demo", "my region/1", "http://h"}, "k", "http://h/demo/k"},
        AddressCase{"spaceIsNotPlus", amazon, "My App+1.dmg",
                    "https://demo.s3.eu-west-1.amazonaws.com/My%20App%2B1.dmg"},
        AddressCase{"percentOnce", amazon, "100%.zip", "https://demo.s3.eu-west-1.amazonaws.com/100%25.zip"},
        AddressCase{"utf8ByteByByte", amazon, "Caf\u00e9@2x.zip",
                    "https://demo.s3.eu-west-1.amazonaws.com/Caf%C3%A9%402x.zip"},
        AddressCase{"slashesStay", amazon, "/a//b/", "https://demo.s3.eu-west-1.amazonaws.com//a//b/"},
        AddressCase{"reserved", amazon, "~!*'()&=?#:",
                    "https://demo.s3.eu-west-1.amazonaws.com/~%21%2A%27%28%29%26%3D%3F%23%3A"}),
    test::CaseName());

TEST(ObjectURL, refusesWhatWouldReachSomethingElse) {
    EXPECT_THROW(objectURL({"demo", "evil.example.com/", {}}, "k"), S3Error);
    EXPECT_THROW(objectURL({"demo", "", {}}, "k"), S3Error);
    EXPECT_THROW(objectURL({"", "us-east-1", {}}, "k"), S3Error);
    EXPECT_THROW(objectURL(amazon, ""), S3Error); // would be the bucket
    EXPECT_EQ(objectURL({"a/../b", "r", "http://h"}, "k"), "http://h/a%2F..%2Fb/k");
}

TEST(CopySource, encodesBucketAndKeyOnce) {
    EXPECT_EQ(copySource("demo", "apps/My App+1 100%.dmg"), "demo/apps/My%20App%2B1%20100%25.dmg");
}

} // namespace
} // namespace halvo
