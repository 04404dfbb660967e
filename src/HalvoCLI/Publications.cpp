#include "Publications.h"

#include "Output/CLIError.h"

#include <Base/Base64.h>
#include <HalvoCore/ServerAppRepository.h>

#include <algorithm>

namespace halvo {
namespace {

constexpr const char* noS3Credentials =
    "No S3 credentials found. Provide --s3-access-key-id and --s3-secret-access-key, set "
    "AWS_ACCESS_KEY_ID/AWS_SECRET_ACCESS_KEY, or store them in Keychain via the macOS app.";
constexpr const char* orNameABucket =
    " For an app in a bucket of your own, pass --s3-bucket, --s3-region and --s3-public-url, or set "
    "HALVO_S3_BUCKET, HALVO_S3_REGION and HALVO_S3_PUBLIC_URL.";

/// The key that signs updates, where a command does not have it at hand for another reason.
FeedKey storedFeedKey(const std::string& bundleIdentifier, DependencyContainer& services) {
    return [bundleIdentifier, &services]() -> std::optional<PrivateKey> {
        std::optional<Bytes> bytes;
        if (const auto text = services.platform().environment.nonEmpty("SPARKLE_PRIVATE_KEY"))
            bytes = decodeBase64(*text, Base64Reading::ignoringWhitespace);
        else
            bytes = services.keyChain().storedSparklePrivateKey(bundleIdentifier);
        return bytes ? std::optional(PrivateKey(*bytes)) : std::nullopt;
    };
}

std::unique_ptr<Publication> openHosted(const PublishedApp& app, DependencyContainer& services,
                                        Terminal& terminal) {
    if (!services.tokenController().getToken())
        throw CLIError("not_authenticated", notAuthenticated().description() + orNameABucket);
    const auto apps = terminal.wait("Fetching your apps", [&] {
        return requireLogin([&] { return ServerAppRepository(services.apiClient()).list(); });
    });
    const auto found = std::ranges::find(apps, app.bundleIdentifier, &ServerApp::bundleIdentifier);
    if (found == apps.end())
        throw CLIError(
            "app_not_configured",
            "App " + (app.name ? "\"" + *app.name + "\" " : "") + "(" + app.bundleIdentifier +
                ") not found. Run `halvo setup` to register it, or pass the S3 destination directly "
                "(--s3-bucket, --s3-region, --s3-public-url, or HALVO_S3_* environment variables).");
    const Platform& platform = services.platform();
    return std::make_unique<HostedPublication>(services.apiClient(), *found,
                                               IconConverter(platform.images, platform.temporaryDirectory));
}

} // namespace

void PublicationOptions::declareKeys(CommandArguments& arguments) {
    arguments.option("--s3-access-key-id", accessKeyID,
                     "S3 access key ID (overrides keychain; or set AWS_ACCESS_KEY_ID)");
    arguments.option("--s3-secret-access-key", secretAccessKey,
                     "S3 secret access key (overrides keychain; or set AWS_SECRET_ACCESS_KEY)");
}

S3Access resolveS3Access(const PublicationOptions& options, const Environment& environment,
                         KeyChainStore& keyChain, const std::string& bundleIdentifier) {
    const auto accessKeyID = firstNonEmpty(options.accessKeyID, environment, "AWS_ACCESS_KEY_ID");
    const auto secretAccessKey = firstNonEmpty(options.secretAccessKey, environment, "AWS_SECRET_ACCESS_KEY");
    if (accessKeyID && secretAccessKey) {
        const bool isFromEnvironment =
            options.accessKeyID.value_or("").empty() && options.secretAccessKey.value_or("").empty();
        return {.credentials = {.accessKeyID = *accessKeyID, .secretAccessKey = *secretAccessKey},
                .sessionToken = isFromEnvironment ? environment.nonEmpty("AWS_SESSION_TOKEN") : std::nullopt};
    }
    try {
        return {.credentials = keyChain.getS3Credentials(bundleIdentifier)};
    } catch (const KeychainError& error) {
        if (error.is<KeychainError::ItemNotFound>())
            throw CLIError("app_not_configured", noS3Credentials);
        throw;
    }
}

OpenPublication openPublication(const PublishedApp& app, const PublicationOptions& options,
                                const FeedRights& rights, DependencyContainer& services, Terminal& terminal) {
    Platform& platform = services.platform();
    const auto stored = services.localApps().fetchStored(app.bundleIdentifier);
    const auto named = options.bucket.makeConfiguration(platform.environment);
    if (!named && !stored)
        return {.publication = openHosted(app, services, terminal)};
    OpenPublication opened;
    if (named)
        opened.namedBucket = named->bucket;
    opened.publication = std::make_unique<BucketPublication>(
        BucketPublication::Options{
            .configuration = named ? *named : stored->storage.s3(),
            .access =
                resolveS3Access(options, platform.environment, services.keyChain(), app.bundleIdentifier),
            .appName = app.name || !stored ? app.name : std::optional(stored->name),
            .feedKey = rights.key ? rights.key : storedFeedKey(app.bundleIdentifier, services),
            .adoptsFeed = rights.adoptsFeed},
        platform);
    return opened;
}

} // namespace halvo
