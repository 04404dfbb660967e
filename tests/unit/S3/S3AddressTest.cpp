#include <S3/S3Address.h>

#include <S3/S3Error.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

const S3Location amazon{"demo", "eu-west-1", std::nullopt};

TEST(ObjectURL, isBuilt) {
    const struct {
        const char* name;
        S3Location location;
        const char* key;
        const char* url;
    } cases[] = {
        {"amazon", amazon, "a/b.dmg", "https://demo.s3.eu-west-1.amazonaws.com/a/b.dmg"},
        {"china", {"demo", "cn-north-1", {}}, "k", "https://demo.s3.cn-north-1.amazonaws.com.cn/k"},
        {"dotsInTheBucket",
         {"dl.example.com", "us-east-1", {}},
         "k",
         "https://s3.us-east-1.amazonaws.com/dl.example.com/k"},
        {"endpointWithPortAndPath", {"demo", "r", "http://h:9000/s3/"}, "k", "http://h:9000/s3/demo/k"},
        {"endpointWithQuery", {"demo", "r", "http://h/?a=b#c"}, "k", "http://h/demo/k"},
        {"reserved", amazon,
         "~!*'()&=?#:", "https://demo.s3.eu-west-1.amazonaws.com/~%21%2A%27%28%29%26%3D%3F%23%3A"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(objectURL(row.location, row.key), row.url);
    }
}

TEST(ObjectURL, refusesWhatWouldReachSomethingElse) {
    EXPECT_THROW(objectURL({"demo", "evil.example.com/", {}}, "k"), S3Error);
    EXPECT_THROW(objectURL({"demo", "", {}}, "k"), S3Error);
    EXPECT_THROW(objectURL({"", "us-east-1", {}}, "k"), S3Error);
    EXPECT_THROW(objectURL(amazon, ""), S3Error); // would be the bucket
    EXPECT_EQ(objectURL({"a/../b", "r", "http://h"}, "k"), "http://h/a%2F..%2Fb/k");
}

} // namespace
} // namespace halvo
