#include "Commands/Release/ReleaseDestination.h"

namespace halvo {

ReleaseDestination resolveReleaseDestination(const std::string& bundleIdentifier,
                                             LocalAppRepository& localApps,
                                             const S3DestinationOptions& options,
                                             const Environment& environment) {
    const std::optional<LocalApp> stored = localApps.fetchStored(bundleIdentifier);
    if (auto configuration = options.makeConfiguration(environment))
        return {ReleaseDestination::EphemeralS3{std::move(*configuration)}};
    if (stored)
        return {ReleaseDestination::StoredS3{*stored}};
    return {ReleaseDestination::Server()};
}

std::optional<LocalApp> localAppOf(const ReleaseDestination& destination, const BundleInfo& bundleInfo) {
    if (const auto* stored = std::get_if<ReleaseDestination::StoredS3>(&destination.value))
        return stored->app;
    if (const auto* named = std::get_if<ReleaseDestination::EphemeralS3>(&destination.value))
        return LocalApp{.id = UUID::random(),
                        .bundleIdentifier = bundleInfo.identifier,
                        .name = bundleInfo.name,
                        .storage = {named->configuration}};
    return std::nullopt;
}

} // namespace halvo
