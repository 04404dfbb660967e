#include <HalvoCore/S3Uploader.h>

#include <Platform/Files.h>

#include <filesystem>

namespace halvo {
namespace {

constexpr std::string_view component = "S3Uploader";

S3Location locationOf(const S3Configuration& configuration) {
    S3Location location{.bucket = configuration.bucket, .region = configuration.region};
    if (configuration.endpoint)
        location.endpoint = configuration.endpoint->absoluteString();
    return location;
}

} // namespace

std::string S3UploadError::describe(const Case& which) {
    struct Describe {
        std::string operator()(const UploadFailed& failed) const {
            return "S3 upload failed: " + failed.text;
        }
        std::string operator()(const CopyFailed& failed) const { return "S3 copy failed: " + failed.text; }
        std::string operator()(const DownloadFailed& failed) const {
            return "S3 download failed: " + failed.text;
        }
        std::string operator()(const DeleteFailed& failed) const {
            return "S3 delete failed: " + failed.text;
        }
        std::string operator()(const FileNotFound& missing) const {
            return "File not found: " +
                   (missing.file.isFile() ? missing.file.path() : missing.file.absoluteString());
        }
    };
    return std::visit(Describe{}, which);
}

S3Uploader::S3Uploader(S3Configuration settings, const S3Credentials& credentials,
                       std::optional<std::string> sessionToken, HTTPSession& http, Clock& clock, Log& log,
                       std::stop_token cancellation)
    : configuration(std::move(settings)),
      client(locationOf(configuration),
             {credentials.accessKeyID, credentials.secretAccessKey, std::move(sessionToken)}, http, clock,
             std::move(cancellation)),
      log(log) {}

template<typename Case, typename Action>
auto S3Uploader::attempt(std::string_view operation, Action action) const {
    try {
        return action();
    } catch (const Failure& error) {
        throw S3UploadError(Case{formatError(error, operation)});
    }
}

URL S3Uploader::upload(const URL& file, const std::string& key, const std::string& contentType,
                       const TransferProgress& progress) const {
    std::error_code failed;
    if (!file.isFile() || !std::filesystem::exists(file.filePath(), failed))
        throw S3UploadError(S3UploadError::FileNotFound{file});
    const MappedFile mapped(file.filePath());
    return upload(mapped.bytes(), key, contentType, progress);
}

URL S3Uploader::upload(ByteView data, const std::string& key, const std::string& contentType,
                       const TransferProgress& progress) const {
    const std::string fullKey = configuration.s3Key(key);
    note("S3 upload starting - Key: " + fullKey + ", Size: " + std::to_string(data.size()) + " bytes");
    attempt<S3UploadError::UploadFailed>("upload", [&] {
        client.putObject(fullKey, {.body = data, .contentType = contentType, .progress = progress});
    });
    note("S3 upload succeeded - Key: " + fullKey);
    return configuration.publicBaseURL.appendingPath(fullKey);
}

void S3Uploader::copy(const std::string& sourceKey, const std::string& destinationKey) const {
    const std::string source = configuration.s3Key(sourceKey);
    const std::string destination = configuration.s3Key(destinationKey);
    note("S3 copy starting - Source: " + source + ", Destination: " + destination);
    attempt<S3UploadError::CopyFailed>("copy", [&] { client.copyObject(source, destination); });
    note("S3 copy succeeded - Source: " + source + ", Destination: " + destination);
}

void S3Uploader::deleteKey(const std::string& key) const { deleteFullKey(configuration.s3Key(key)); }

void S3Uploader::deleteFullKey(const std::string& fullKey) const {
    note("S3 delete starting - Key: " + fullKey);
    attempt<S3UploadError::DeleteFailed>("delete", [&] { client.deleteObject(fullKey); });
    note("S3 delete succeeded - Key: " + fullKey);
}

std::optional<Bytes> S3Uploader::downloadAppcast() const {
    const std::string fullKey = configuration.s3Key(configuration.appcastPath);
    note("S3 download starting - Key: " + fullKey);
    std::optional<Bytes> appcast =
        attempt<S3UploadError::DownloadFailed>("download", [&] { return client.getObject(fullKey); });
    note(appcast ? "S3 download succeeded - Key: " + fullKey
                 : "S3 download - appcast not found (expected for new apps)");
    return appcast;
}

void S3Uploader::verify() const {
    note("S3 verify starting - Bucket: " + configuration.bucket);
    attempt<S3UploadError::UploadFailed>("verify", [&] { client.headBucket(); });
    note("S3 verify succeeded - Bucket: " + configuration.bucket);
}

void S3Uploader::note(const std::string& message) const { log.write(LogLevel::info, component, message); }

std::string S3Uploader::formatError(const std::exception& error, std::string_view operation) const {
    std::string text = describe(error);
    const std::string endpoint =
        configuration.endpoint ? configuration.endpoint->absoluteString() : "default";
    log.write(LogLevel::error, component,
              "S3 " + std::string(operation) + " failed - Bucket: " + configuration.bucket +
                  ", Region: " + configuration.region + ", Endpoint: " + endpoint + ", Error: " + text);
    return text;
}

} // namespace halvo
