#pragma once

#include <Base/Failure.h>
#include <Base/URL.h>
#include <Models/StorageConfiguration.h>
#include <Platform/Platform.h>
#include <S3/S3Client.h>

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace halvo {

struct S3UploadCases {
    struct UploadFailed {
        std::string text{};
        std::string description() const { return "S3 upload failed: " + text; }
    };
    struct CopyFailed {
        std::string text{};
        std::string description() const { return "S3 copy failed: " + text; }
    };
    struct DownloadFailed {
        std::string text{};
        std::string description() const { return "S3 download failed: " + text; }
    };
    struct DeleteFailed {
        std::string text{};
        std::string description() const { return "S3 delete failed: " + text; }
    };
    struct FileNotFound {
        std::filesystem::path file{};
        std::string description() const { return "File not found: " + file.string(); }
    };
    using Case = std::variant<UploadFailed, CopyFailed, DownloadFailed, DeleteFailed, FileNotFound>;
};

/// A failure of the S3 store, or of the way to it, with the text of what went wrong.
using S3UploadError = FailureOf<S3UploadCases>;

/// What opens a bucket.
struct S3Access {
    S3Credentials credentials{};
    std::optional<std::string> sessionToken{}; ///< comes with temporary credentials
};

/// The one place where the program talks to an S3-compatible store.
///
/// Keys are names below the path prefix of the configuration; only `deleteFullKey` takes a whole key.
/// Operations log what they do, throw S3UploadError, and may run at the same time.
class S3Uploader {
public:
    /// The platform must outlive the uploader.
    S3Uploader(S3Configuration configuration, const S3Access& access, Platform& platform);

    const S3Configuration& configuration() const { return settings; }

    /// Sends a file in one piece, from where it is mapped, and gives its public URL. Throws FileError for a
    /// file that is there and cannot be read.
    URL upload(const std::filesystem::path& file, const std::string& key, const std::string& contentType,
               const TransferProgress& progress = {}) const;
    /// Copies within the bucket.
    void copy(const std::string& sourceKey, const std::string& destinationKey) const;
    /// Returns too when nothing is there.
    void deleteFullKey(const std::string& fullKey) const;
    bool exists(const std::string& key) const;

    /// The feed, absent when there is none yet, with the tag that a condition needs.
    std::optional<S3Client::Object> downloadAppcast() const;

    enum class Written { yes, conflict, conditionUnknown };
    /// Writes the feed. `conflict`: the condition does not hold; `conditionUnknown`: the store knows no
    /// conditions.
    Written uploadAppcast(ByteView feed, const std::optional<S3Client::Condition>& condition) const;

private:
    /// Runs `action` and turns its failures into `Case`, which holds a text.
    template<typename Case, typename Action>
    auto attempt(std::string_view operation, Action action) const;
    void note(const std::string& message) const;
    /// The error as text, which it also logs.
    std::string formatError(const std::exception& error, std::string_view operation) const;

    S3Configuration settings;
    S3Client client;
    Log& log;
};

} // namespace halvo
