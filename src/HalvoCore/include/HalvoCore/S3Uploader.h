#pragma once

#include <Base/URL.h>
#include <Models/StorageConfiguration.h>
#include <Platform/Log.h>
#include <S3/S3Client.h>

#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>

namespace halvo {

/// A failure of the S3 store, or of the way to it, with the text of what went wrong.
class S3UploadError : public Failure {
public:
    struct UploadFailed {
        std::string text{};
    };
    struct CopyFailed {
        std::string text{};
    };
    struct DownloadFailed {
        std::string text{};
    };
    struct DeleteFailed {
        std::string text{};
    };
    struct FileNotFound {
        URL file{};
    };
    using Case = std::variant<UploadFailed, CopyFailed, DownloadFailed, DeleteFailed, FileNotFound>;

    explicit S3UploadError(Case which) : Failure(describe(which)), which(std::move(which)) {}

    Case which;

private:
    static std::string describe(const Case& which);
};

/// The one place where the program talks to an S3-compatible store.
///
/// Keys are names below the path prefix of the configuration; only `deleteFullKey` takes a whole key.
/// Operations log what they do, throw S3UploadError, or CancelledError, and may run at the same time.
class S3Uploader {
public:
    /// `sessionToken` comes with temporary credentials. The services must outlive the uploader.
    S3Uploader(S3Configuration configuration, const S3Credentials& credentials,
               std::optional<std::string> sessionToken, HTTPSession& http, Clock& clock, Log& log,
               std::stop_token cancellation);

    /// Sends a file in one piece, from where it is mapped, and gives its public URL. Throws FileError for a
    /// file that is there and cannot be read.
    URL upload(const URL& file, const std::string& key, const std::string& contentType,
               const TransferProgress& progress = {}) const;
    URL upload(ByteView data, const std::string& key, const std::string& contentType,
               const TransferProgress& progress = {}) const;
    /// Copies within the bucket.
    void copy(const std::string& sourceKey, const std::string& destinationKey) const;
    void deleteKey(const std::string& key) const;
    void deleteFullKey(const std::string& fullKey) const;
    /// Absent when there is none yet.
    std::optional<Bytes> downloadAppcast() const;
    /// Returns when the bucket is there and the credentials reach it.
    void verify() const;

private:
    /// Runs `action` and turns its failures into `Case`, which holds a text.
    template<typename Case, typename Action>
    auto attempt(std::string_view operation, Action action) const;
    void note(const std::string& message) const;
    /// The error as text, which it also logs.
    std::string formatError(const std::exception& error, std::string_view operation) const;

    S3Configuration configuration;
    S3Client client;
    Log& log;
};

} // namespace halvo
