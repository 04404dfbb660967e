#pragma once

#include "Commands/S3DestinationOptions.h"
#include "DependencyContainer.h"

#include <HalvoCore/BucketPublication.h>
#include <HalvoCore/HostedPublication.h>
#include <Terminal/Terminal.h>

#include <memory>
#include <optional>
#include <string>

namespace halvo {

/// The app whose place of publication is looked for. The name is known only once the app was read.
struct PublishedApp {
    std::string bundleIdentifier{};
    std::optional<std::string> name{};
};

/// The options that decide where an app is published, shared by `release` and `releases`.
struct PublicationOptions {
    std::optional<std::string> accessKeyID{};
    std::optional<std::string> secretAccessKey{}; ///< secret
    S3DestinationOptions bucket{};

    void declareKeys(CommandArguments& arguments);
};

struct OpenPublication {
    std::unique_ptr<Publication> publication{};
    /// The bucket of this run alone, from options or the environment; absent for a stored app and for the
    /// service.
    std::optional<std::string> namedBucket{};
};

/// What `release` adds.
struct FeedRights {
    FeedKey key{}; ///< absent: SPARKLE_PRIVATE_KEY, else the key in the keychain
    bool adoptsFeed = false;
};

/// Opens the place where an app is published: a bucket that is named for this run wins over the stored app,
/// the stored app over the service. What it gives borrows from `services`. Throws CLIError:
/// `invalid_argument` for a bucket that is named in part, `app_not_configured` without keys for it or for an
/// app that the service does not have, `not_authenticated` where the service is needed and nobody is logged
/// in.
OpenPublication openPublication(const PublishedApp& app, const PublicationOptions& options,
                                const FeedRights& rights, DependencyContainer& services, Terminal& terminal);

/// Each half of the key pair from its option or variable; when either is missing, the pair of the keychain.
/// The token of AWS_SESSION_TOKEN belongs to the pair of the environment alone. Throws CLIError
/// `app_not_configured`.
S3Access resolveS3Access(const PublicationOptions& options, const Environment& environment,
                         KeyChainStore& keyChain, const std::string& bundleIdentifier);

} // namespace halvo
