#pragma once

#include "Commands/Release/ReleaseCredentials.h"

#include <HalvoCore/AppcastStorage.h>
#include <HalvoCore/LocalAppRepository.h>
#include <Models/BundleInfo.h>

#include <variant>

namespace halvo {

/// Where a release goes.
struct ReleaseDestination {
    /// An app that is stored on this machine and published from its bucket.
    struct StoredS3 {
        LocalApp app{};
    };
    /// A bucket from flags or the environment; no stored app is needed.
    struct EphemeralS3 {
        S3Configuration configuration{};
    };
    /// The hosted service.
    struct Server {};
    std::variant<StoredS3, EphemeralS3, Server> value = Server();
};

/// A bucket that is named for this run wins over the stored app, the stored app over the service. Throws
/// CLIError `invalid_argument` for a bucket that is named in part.
ReleaseDestination resolveReleaseDestination(const std::string& bundleIdentifier,
                                             LocalAppRepository& localApps,
                                             const S3DestinationOptions& options,
                                             const Environment& environment);

/// The app that a release to a bucket is published as: the stored one, or one made for this run alone. Absent
/// for the hosted service.
std::optional<LocalApp> localAppOf(const ReleaseDestination& destination, const BundleInfo& bundleInfo);

} // namespace halvo
