#include <HalvoCore/S3AppcastStorage.h>

namespace halvo {

S3AppcastStorage::S3AppcastStorage(S3Configuration configuration, const S3Credentials& credentials,
                                   std::optional<std::string> sessionToken, Platform& platform,
                                   TransferProgress progress)
    : configuration(configuration),
      uploader(std::move(configuration), credentials, std::move(sessionToken), platform.http, platform.clock,
               platform.log, platform.cancellation),
      progress(std::move(progress)) {}

AppcastStorageFactory S3AppcastStorage::factory(Platform& platform) {
    return [&platform](const S3Configuration& configuration, const S3Credentials& credentials) {
        return std::make_unique<S3AppcastStorage>(configuration, credentials, std::nullopt, platform);
    };
}

std::optional<Bytes> S3AppcastStorage::downloadAppcast() { return uploader.downloadAppcast(); }

void S3AppcastStorage::uploadAppcast(ByteView bytes) {
    uploader.upload(bytes, configuration.appcastPath, "application/xml");
}

URL S3AppcastStorage::uploadBinary(const std::filesystem::path& file, const std::string& filename,
                                   const std::string& contentType) {
    return uploader.upload(URL::file(file), filename, contentType, progress);
}

void S3AppcastStorage::copyToLatest(const std::string& sourceFilename,
                                    const std::string& destinationFilename) {
    uploader.copy(sourceFilename, destinationFilename);
}

void S3AppcastStorage::deleteBinary(const std::string& key) { uploader.deleteFullKey(key); }

void S3AppcastStorage::verify() { uploader.verify(); }

} // namespace halvo
