#include <S3/S3Address.h>

#include <Base/URL.h>
#include <S3/S3Error.h>

#include <algorithm>

namespace halvo {
namespace {

bool isHostLabel(std::string_view text) {
    return !text.empty() && text.size() <= 63 && text.front() != '-' && text.back() != '-' &&
           std::ranges::all_of(text, [](char letter) {
               return (letter >= 'a' && letter <= 'z') || (letter >= '0' && letter <= '9') || letter == '-';
           });
}

/// The endpoint without query, fragment and closing slashes.
std::string_view baseOf(std::string_view endpoint) {
    endpoint = endpoint.substr(0, endpoint.find_first_of("?#"));
    while (endpoint.ends_with('/'))
        endpoint.remove_suffix(1);
    return endpoint;
}

} // namespace

std::string bucketURL(const S3Location& location) {
    if (location.bucket.empty())
        throw S3Error({.code = "InvalidBucketName", .message = "The name of the S3 bucket is empty."});
    const std::string bucket = percentEncoded(location.bucket);
    if (location.endpoint)
        return std::string(baseOf(*location.endpoint)) + "/" + bucket;
    if (!isHostLabel(location.region))
        throw S3Error({.code = "InvalidRegion",
                       .message = "\"" + location.region + "\" is not a region of Amazon S3, such as us-east-1.",
                       .bucket = location.bucket});
    const std::string domain =
        "s3." + location.region + ".amazonaws.com" + (location.region.starts_with("cn-") ? ".cn" : "");
    return isHostLabel(location.bucket) ? "https://" + location.bucket + "." + domain
                                        : "https://" + domain + "/" + bucket;
}

std::string objectURL(const S3Location& location, std::string_view key) {
    if (key.empty())
        throw S3Error({.code = "InvalidKey",
                       .message = "The key of the S3 object is empty.",
                       .bucket = location.bucket});
    return bucketURL(location) + "/" + percentEncoded(key, "/");
}

std::string copySource(std::string_view bucket, std::string_view key) {
    return percentEncoded(bucket) + "/" + percentEncoded(key, "/");
}

} // namespace halvo
