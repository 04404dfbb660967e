#include <HalvoCore/S3Uploader.h>

#include <Platform/Files.h>

namespace halvo {
namespace {

constexpr std::string_view component = "S3Uploader";
constexpr const char* feedContentType = "application/xml";

S3Location locationOf(const S3Configuration& configuration) {
    S3Location location{.bucket = configuration.bucket, .region = configuration.region};
    if (configuration.endpoint)
        location.endpoint = configuration.endpoint->absoluteString();
    return location;
}

} // namespace

S3Uploader::S3Uploader(S3Configuration configuration, const S3Access& access, Platform& platform)
    : settings(std::move(configuration)),
      client(locationOf(settings),
             {access.credentials.accessKeyID, access.credentials.secretAccessKey, access.sessionToken},
             platform.http, platform.clock, platform.cancellation),
      log(platform.log) {}

template<typename Case, typename Action>
auto S3Uploader::attempt(std::string_view operation, Action action) const {
    try {
        return action();
    } catch (const Failure& error) {
        throw S3UploadError(Case{formatError(error, operation)});
    }
}

URL S3Uploader::upload(const std::filesystem::path& file, const std::string& key,
                       const std::string& contentType, const TransferProgress& progress) const {
    std::error_code failed;
    if (!std::filesystem::exists(file, failed))
        throw S3UploadError(S3UploadError::FileNotFound{file});
    const MappedFile mapped(file);
    const std::string fullKey = settings.s3Key(key);
    note("S3 upload starting - Key: " + fullKey + ", Size: " + std::to_string(mapped.bytes().size()) +
         " bytes");
    attempt<S3UploadError::UploadFailed>("upload", [&] {
        client.putObject(fullKey, {.body = mapped.bytes(), .contentType = contentType, .progress = progress});
    });
    note("S3 upload succeeded - Key: " + fullKey);
    return settings.publicBaseURL.appendingPath(fullKey);
}

void S3Uploader::copy(const std::string& sourceKey, const std::string& destinationKey) const {
    const std::string source = settings.s3Key(sourceKey);
    const std::string destination = settings.s3Key(destinationKey);
    note("S3 copy starting - Source: " + source + ", Destination: " + destination);
    attempt<S3UploadError::CopyFailed>("copy", [&] { client.copyObject(source, destination); });
    note("S3 copy succeeded - Source: " + source + ", Destination: " + destination);
}

void S3Uploader::deleteFullKey(const std::string& fullKey) const {
    note("S3 delete starting - Key: " + fullKey);
    attempt<S3UploadError::DeleteFailed>("delete", [&] { client.deleteObject(fullKey); });
    note("S3 delete succeeded - Key: " + fullKey);
}

bool S3Uploader::exists(const std::string& key) const {
    return attempt<S3UploadError::DownloadFailed>("head",
                                                  [&] { return client.hasObject(settings.s3Key(key)); });
}

std::optional<S3Client::Object> S3Uploader::downloadAppcast() const {
    const std::string fullKey = settings.s3Key(settings.appcastPath);
    note("S3 download starting - Key: " + fullKey);
    auto appcast =
        attempt<S3UploadError::DownloadFailed>("download", [&] { return client.getObject(fullKey); });
    note(appcast ? "S3 download succeeded - Key: " + fullKey
                 : "S3 download - appcast not found (expected for new apps)");
    return appcast;
}

S3Uploader::Written S3Uploader::uploadAppcast(ByteView feed,
                                              const std::optional<S3Client::Condition>& condition) const {
    const std::string fullKey = settings.s3Key(settings.appcastPath);
    note("S3 upload starting - Key: " + fullKey + ", Size: " + std::to_string(feed.size()) + " bytes");
    const auto written = attempt<S3UploadError::UploadFailed>("upload", [&] {
        try {
            client.putObject(fullKey, {.body = feed, .contentType = feedContentType, .condition = condition});
            return Written::yes;
        } catch (const S3Error& error) {
            if (condition && error.isConflict())
                return Written::conflict;
            // Some stores answer 404 to an If-Match where the object is gone.
            if (condition && condition->entityTag && error.isMissingObject())
                return Written::conflict;
            if (condition && error.isNotImplemented())
                return Written::conditionUnknown;
            throw;
        }
    });
    note(written == Written::yes        ? "S3 upload succeeded - Key: " + fullKey
         : written == Written::conflict ? "S3 upload - the feed was changed meanwhile - Key: " + fullKey
                                        : "S3 upload - the store knows no conditions - Key: " + fullKey);
    return written;
}

void S3Uploader::note(const std::string& message) const { log.write(LogLevel::info, component, message); }

std::string S3Uploader::formatError(const std::exception& error, std::string_view operation) const {
    std::string text = describe(error);
    const std::string endpoint = settings.endpoint ? settings.endpoint->absoluteString() : "default";
    log.write(LogLevel::error, component,
              "S3 " + std::string(operation) + " failed - Bucket: " + settings.bucket +
                  ", Region: " + settings.region + ", Endpoint: " + endpoint + ", Error: " + text);
    return text;
}

} // namespace halvo
