#pragma once

#include "DependencyContainer.h"

#include <HalvoCore/ReleaseRepository.h>

#include <memory>
#include <string>
#include <vector>

namespace halvo {

/// Where the releases of an app are administered: the feed in the bucket of an app that is stored on this
/// machine, else the hosted service. What it gives borrows from `services`. Throws KeychainError when the
/// bucket's credentials are missing, and CLIError: `not_authenticated` where the service is needed and nobody
/// is logged in, `app_not_configured` for an app that is on neither.
std::unique_ptr<ReleaseRepository> resolveReleaseRepository(const std::string& bundleIdentifier,
                                                            DependencyContainer& services);

/// The releases of an app, wherever they are kept. Throws as `resolveReleaseRepository` does, and what
/// listing throws.
std::vector<Release> fetchReleases(const std::string& bundleIdentifier, DependencyContainer& services);

} // namespace halvo
