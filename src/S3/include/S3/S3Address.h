#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace halvo {

/// Where a bucket is.
struct S3Location {
    std::string bucket{};
    std::string region{};
    /// The URL of the store, possibly with a port and a base path; absent: Amazon's own for the region.
    std::optional<std::string> endpoint{};
};

/// The URL of the bucket, without a closing slash.
///
/// With an endpoint, the bucket is the first part of the path behind the endpoint's own. On Amazon it is the
/// first part of the host name, unless its name is not a host label (a dot in it would break the certificate's
/// match): then it stands in the path too. Throws S3Error when there is no bucket or the region cannot be
/// part of a host name.
std::string bucketURL(const S3Location& location);

/// The URL of an object. The key is percent-encoded once, its slashes stay. Throws S3Error as above, and for
/// an empty key: the same request to the bucket itself would make or remove the bucket.
std::string objectURL(const S3Location& location, std::string_view key);

/// The value of `x-amz-copy-source` for an object: bucket, "/" and key, percent-encoded once.
std::string copySource(std::string_view bucket, std::string_view key);

} // namespace halvo
