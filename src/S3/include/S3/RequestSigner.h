#pragma once

#include <Base/Date.h>
#include <Platform/HTTPSession.h>
#include <S3/SHA256.h>

#include <optional>
#include <string>

namespace halvo {

/// What signs requests to an S3 store. Never logged.
struct S3AccessKey {
    std::string accessKeyID{};
    std::string secretAccessKey{};
    std::optional<std::string> sessionToken{}; ///< comes with temporary keys
};

/// Signs a request with AWS Signature Version 4, for the service "s3" in `region`.
///
/// The URL's path and query must already be percent-encoded as they are to be sent. Every header of the
/// request is signed; `Host`, `x-amz-date`, `x-amz-content-sha256`, `x-amz-security-token` (with a session
/// token) and `Authorization` are added, in place of any that are there. `bodyHash` is the SHA-256 of the
/// whole body.
void signRequest(HTTPRequest& request, const S3AccessKey& key, const std::string& region,
                 const SHA256Digest& bodyHash, Date time);

} // namespace halvo
