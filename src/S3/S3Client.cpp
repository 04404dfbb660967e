#include <S3/S3Client.h>

#include <S3/RetryPolicy.h>

#include <S3/S3Response.h>

#include <algorithm>
#include <limits>
#include <random>

namespace halvo {
namespace {

constexpr std::chrono::seconds timeLimit{600};

bool isTemporary(const HTTPError& error) {
    return error.kind == HTTPError::Kind::cannotConnect || error.kind == HTTPError::Kind::connectionLost;
}

/// CopyObject sends its 200 before it is done, so a failure can stand in the body. One that was cut short, or
/// is no XML, counts as a failure of the store.
void checkCopyResult(const HTTPResponse& response, const S3Error::Details& request) {
    if (response.body.empty())
        return;
    const auto document = parseS3Document(response.body);
    if (document && document->root != "Error")
        return;
    S3Error error = readS3Error(response, request);
    error.details.isTemporary = error.details.isTemporary || !document;
    throw error;
}

} // namespace

S3Client::S3Client(S3Location location, S3AccessKey key, HTTPSession& http, Clock& clock,
                   std::stop_token cancellation, Randomness randomness)
    : location(std::move(location)), accessKey(std::move(key)), http(http), clock(clock),
      cancellation(std::move(cancellation)), randomness(std::move(randomness)) {}

double S3Client::systemRandomness() {
    std::random_device source;
    return std::generate_canonical<double, std::numeric_limits<double>::digits>(source);
}

void S3Client::putObject(const std::string& key, const Upload& upload) const {
    HTTPRequest request{.method = "PUT",
                        .url = objectURL(location, key),
                        .body = upload.body,
                        .hasBody = true,
                        .progress = upload.progress};
    if (!upload.contentType.empty())
        request.headers.emplace_back("Content-Type", upload.contentType);
    if (upload.condition) {
        const auto& tag = upload.condition->entityTag;
        request.headers.emplace_back(tag ? "If-Match" : "If-None-Match", tag.value_or("*"));
    }
    send("PutObject", key, std::move(request), upload.bodyHash ? *upload.bodyHash : sha256(upload.body));
}

void S3Client::copyObject(const std::string& sourceKey, const std::string& destinationKey) const {
    HTTPRequest request{.method = "PUT",
                        .url = objectURL(location, destinationKey),
                        .headers = {{"x-amz-copy-source", copySource(location.bucket, sourceKey)}},
                        .hasBody = true};
    send("CopyObject", destinationKey, std::move(request), sha256({}), checkCopyResult);
}

void S3Client::deleteObject(const std::string& key) const {
    try {
        send("DeleteObject", key, {.method = "DELETE", .url = objectURL(location, key)}, sha256({}));
    } catch (const S3Error& error) {
        if (!error.isMissingObject())
            throw;
    }
}

std::optional<S3Client::Object> S3Client::getObject(const std::string& key) const {
    try {
        HTTPRequest request{.method = "GET",
                            .url = objectURL(location, key),
                            .responseLimit = std::numeric_limits<std::uint64_t>::max()};
        HTTPResponse response = send("GetObject", key, std::move(request), sha256({}));
        return Object{.bytes = std::move(response.body), .entityTag = response.header("ETag")};
    } catch (const S3Error& error) {
        if (error.isMissingObject())
            return std::nullopt;
        throw;
    }
}

bool S3Client::hasObject(const std::string& key) const {
    try {
        send("HeadObject", key, {.method = "HEAD", .url = objectURL(location, key)}, sha256({}));
        return true;
    } catch (const S3Error& error) {
        if (error.details.status == 404) // the answer has no body that would say more
            return false;
        throw;
    }
}

void S3Client::headBucket() const {
    send("HeadBucket", "", {.method = "HEAD", .url = bucketURL(location)}, sha256({}));
}

HTTPResponse S3Client::send(std::string operation, const std::string& key, HTTPRequest request,
                            const SHA256Digest& bodyHash, Check check) const {
    const S3Error::Details details{.operation = std::move(operation), .bucket = location.bucket, .key = key};
    request.timeLimit = timeLimit;
    for (int attempt = 1;; ++attempt) {
        const bool isLast = attempt == maximumAttempts;
        std::optional<std::chrono::seconds> retryAfter;
        try {
            // Signed afresh each time: a signature is good for some minutes only.
            signRequest(request, accessKey, location.region, bodyHash, clock.now());
            HTTPResponse response = http.send(request, cancellation);
            retryAfter = parseRetryAfter(response.header("Retry-After"));
            if (response.status < 200 || response.status >= 300)
                throw readS3Error(response, details);
            if (check != nullptr)
                check(response, details);
            return response;
        } catch (const HTTPError& error) {
            if (isLast || !isTemporary(error))
                throw;
        } catch (const S3Error& error) {
            const bool isConditional = std::ranges::any_of(
                request.headers, [](const HTTPHeader& header) { return header.first.starts_with("If-"); });
            if (isLast || !error.details.isTemporary || (isConditional && error.isConflict()))
                throw; // a condition that failed may hold for what is read afresh, not for this body
        }
        clock.sleep(retryDelay(attempt, randomness(), retryAfter), cancellation);
    }
}

} // namespace halvo
