#pragma once

#include <HalvoCore/AppcastStorage.h>
#include <HalvoCore/LocalAppRepository.h>
#include <HalvoCore/S3Uploader.h>
#include <Platform/Platform.h>

#include <optional>
#include <string>

namespace halvo {

/// The feed and the files of one app in its bucket.
class S3AppcastStorage final : public AppcastStorageProvider {
public:
    /// `progress` is told how much of a file has gone out.
    S3AppcastStorage(S3Configuration configuration, const S3Credentials& credentials,
                     std::optional<std::string> sessionToken, Platform& platform,
                     TransferProgress progress = {});
    /// Opens such storage with stored credentials.
    static AppcastStorageFactory factory(Platform& platform);

    std::optional<Bytes> downloadAppcast() override;
    void uploadAppcast(ByteView bytes) override;
    URL uploadBinary(const std::filesystem::path& file, const std::string& filename,
                     const std::string& contentType) override;
    void copyToLatest(const std::string& sourceFilename, const std::string& destinationFilename) override;
    void deleteBinary(const std::string& key) override;
    void verify() override;

private:
    S3Configuration configuration;
    S3Uploader uploader;
    TransferProgress progress;
};

} // namespace halvo
