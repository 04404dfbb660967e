#pragma once

#include "Commands/Release/ReleaseDestination.h"

#include <Models/Release.h>
#include <Platform/Platform.h>

#include <string>
#include <vector>

namespace halvo {

/// All releases of an app at the place where a release of it would go now. Throws CLIError
/// (`not_authenticated`, `app_not_configured`, `invalid_argument`) and what the place throws.
std::vector<Release> fetchReleasedBuilds(const std::string& bundleIdentifier,
                                         const ReleaseCredentials& credentials, LocalAppRepository& localApps,
                                         const S3DestinationOptions& options, Platform& platform);

} // namespace halvo
