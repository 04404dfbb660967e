#pragma once

#include <Base/Bytes.h>
#include <Base/Failure.h>
#include <Base/URL.h>

#include <filesystem>
#include <optional>
#include <string>
#include <variant>

namespace halvo {

class AppcastStorageError : public Failure {
public:
    struct CopyFailed {
        std::string text{};
    };
    struct DeleteFailed {
        std::string text{};
    };
    struct DirectoryCreationFailed {
        std::string text{};
    };
    struct DownloadFailed {
        std::string text{};
    };
    struct FileNotFound {
        URL url{};
    };
    struct UploadFailed {
        std::string text{};
    };
    using Case = std::variant<CopyFailed, DeleteFailed, DirectoryCreationFailed, DownloadFailed, FileNotFound,
                              UploadFailed>;
    explicit AppcastStorageError(Case problem) : Failure(describe(problem)), which(std::move(problem)) {}
    Case which;

private:
    static std::string describe(const Case& which);
};

/// Where an app's feed and the files of its releases lie.
class AppcastStorageProvider {
public:
    virtual ~AppcastStorageProvider() = default;
    /// The feed as it is; absent when there is none yet.
    virtual std::optional<Bytes> downloadAppcast() = 0;
    virtual void uploadAppcast(ByteView bytes) = 0;
    /// Stores a file under a name, behind the storage's prefix, and gives its public address.
    virtual URL uploadBinary(const std::filesystem::path& file, const std::string& filename,
                             const std::string& contentType) = 0;
    virtual void copyToLatest(const std::string& sourceFilename, const std::string& destinationFilename) = 0;
    /// `key` is the whole key: no prefix is put in front of it.
    virtual void deleteBinary(const std::string& key) = 0;
    /// Fails unless the storage can be reached.
    virtual void verify() = 0;
};

} // namespace halvo
