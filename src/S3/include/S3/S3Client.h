#pragma once

#include <Platform/Clock.h>
#include <Platform/HTTPSession.h>
#include <S3/RequestSigner.h>
#include <S3/S3Address.h>
#include <S3/S3Error.h>

#include <functional>
#include <optional>
#include <stop_token>
#include <string>

namespace halvo {

/// The parts of the S3 REST interface that the program needs, on one bucket of an S3-compatible store.
///
/// A body goes out plain and whole with its SHA-256 in the signature: no chunked signing, no checksum
/// trailers, no ACL, which not every store takes. Each request may take 600 seconds. Temporary failures (no
/// connection, a lost one, 408, 429, 500, 502, 503, 504, SlowDown, InternalError, RequestTimeout,
/// OperationAborted) are tried again, five times in all. Keys are whole keys, UTF-8.
///
/// Every operation throws S3Error for a refusal, HTTPError when there is no response, and CancelledError. It
/// holds no state between operations, which may run at the same time.
class S3Client {
public:
    /// Gives numbers from 0 up to 1 that nobody can foresee.
    using Randomness = std::function<double()>;

    S3Client(S3Location location, S3AccessKey key, HTTPSession& http, Clock& clock,
             std::stop_token cancellation, Randomness randomness = systemRandomness);

    /// What must be true of an object for it to be written.
    struct Condition {
        std::optional<std::string>
            entityTag{}; ///< the one that it still has; absent: there is no such object
    };

    struct Upload {
        ByteView body{}; ///< borrowed, sent from where it lies
        std::string contentType{};
        std::optional<SHA256Digest> bodyHash{}; ///< where it is known already; it is computed otherwise
        TransferProgress progress{};            ///< starts again from nothing with each attempt
        /// Sent as If-Match or If-None-Match. A store where it is not true throws S3Error with
        /// `isConflict()`, one that does not know it an S3Error with `isNotImplemented()`; some ignore it.
        std::optional<Condition> condition{};
    };
    void putObject(const std::string& key, const Upload& upload) const;
    /// Copies within the bucket, on the store.
    void copyObject(const std::string& sourceKey, const std::string& destinationKey) const;
    /// Returns too when there is no such object.
    void deleteObject(const std::string& key) const;

    struct Object {
        Bytes bytes{};
        std::optional<std::string> entityTag{}; ///< as the store writes it, with quotes
    };
    /// Absent when there is no such object. An answer that does not say so plainly is a failure, not an
    /// absence.
    std::optional<Object> getObject(const std::string& key) const;
    /// Whether there is such an object.
    bool hasObject(const std::string& key) const;
    /// Returns when the bucket is there and the access key may use it.
    void headBucket() const;

    static double systemRandomness();

private:
    /// What the store answers must be a success; `accepts` may find an error in it all the same.
    using Check = void (*)(const HTTPResponse& response, const S3Error::Details& request);
    HTTPResponse send(std::string operation, const std::string& key, HTTPRequest request,
                      const SHA256Digest& bodyHash, Check check = nullptr) const;

    S3Location location;
    S3AccessKey accessKey;
    HTTPSession& http;
    Clock& clock;
    std::stop_token cancellation;
    Randomness randomness;
};

} // namespace halvo
