#include "Commands/S3DestinationOptions.h"

#include "Output/CLIError.h"

#include <gtest/gtest.h>

namespace halvo {
namespace {

Environment onlyBucket(const std::string& bucket) {
    return Environment(std::map<std::string, std::string>{{"HALVO_S3_BUCKET", bucket}});
}

std::string failureOf(const S3DestinationOptions& options, const Environment& environment = {}) {
    try {
        options.makeConfiguration(environment);
    } catch (const CLIError& error) {
        return error.code + ": " + error.description();
    }
    return "";
}

TEST(S3DestinationOptions, eachOptionOutranksItsVariableAndEmptyCountsAsNone) {
    const Environment environment({{"HALVO_S3_BUCKET", "vb"},
                                   {"HALVO_S3_REGION", "vr"},
                                   {"HALVO_S3_PUBLIC_URL", "vu"},
                                   {"HALVO_S3_ENDPOINT", "ve"},
                                   {"HALVO_S3_PATH_PREFIX", "vp"},
                                   {"HALVO_S3_APPCAST_PATH", ""}});
    using Resolved = S3DestinationOptions::Resolved;
    EXPECT_EQ(S3DestinationOptions{}.resolved(environment), (Resolved{"vb", "vr", "vu", "ve", "vp", {}}));
    EXPECT_EQ((S3DestinationOptions{"b", "r", "u", "e", "p", "a"}.resolved(environment)),
              (Resolved{"b", "r", "u", "e", "p", "a"}));
    EXPECT_EQ((S3DestinationOptions{.bucket = "", .region = "r"}.resolved(environment)),
              (Resolved{"vb", "r", "vu", "ve", "vp", {}}));
    EXPECT_EQ(S3DestinationOptions{}.resolved({}), Resolved());
}

TEST(S3DestinationOptions, withoutABucketThereIsNoDestination) {
    const S3DestinationOptions options{
        .region = "eu-west-1", .publicUrl = "not a url", .endpoint = "nor this"};
    EXPECT_EQ(options.makeConfiguration({}), std::nullopt);
    EXPECT_EQ(options.makeConfiguration(onlyBucket("")), std::nullopt);
}

TEST(S3DestinationOptions, makesAConfiguration) {
    EXPECT_EQ((S3DestinationOptions{"b", "r", "https://x.example", {}, {}, {}}.makeConfiguration({})),
              (S3Configuration{.bucket = "b",
                               .region = "r",
                               .publicBaseURL = *URL::parse("https://x.example"),
                               .appcastPath = "appcast.xml"}));
    EXPECT_EQ(
        (S3DestinationOptions{"b", "r", "https://x.example", "http://e:9000", "p", "a.xml"}.makeConfiguration(
            {})),
        (S3Configuration{"b", "r", URL::parse("http://e:9000"), "p", *URL::parse("https://x.example"),
                         "a.xml"}));
}

TEST(S3DestinationOptions, saysWhatIsMissingOrNoURL) {
    const std::string incomplete = "invalid_argument: Incomplete S3 destination for bucket \"b\". Missing: ";
    EXPECT_EQ(failureOf({.bucket = "b"}),
              incomplete + "--s3-region (or HALVO_S3_REGION), --s3-public-url (or HALVO_S3_PUBLIC_URL).");
    EXPECT_EQ(failureOf({.bucket = "b", .region = "r"}),
              incomplete + "--s3-public-url (or HALVO_S3_PUBLIC_URL).");
    EXPECT_EQ(failureOf({.publicUrl = "https://x"}, onlyBucket("b")),
              incomplete + "--s3-region (or HALVO_S3_REGION).");
    EXPECT_EQ(failureOf({.bucket = "b", .region = "r", .publicUrl = "x y"}),
              "invalid_argument: --s3-public-url is not a valid URL: x y");
    EXPECT_EQ(failureOf({.bucket = "b", .region = "r", .publicUrl = "https://x", .endpoint = "localhost"}),
              "invalid_argument: --s3-endpoint is not a valid URL: localhost");
}

} // namespace
} // namespace halvo
