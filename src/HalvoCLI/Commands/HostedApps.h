#pragma once

#include "DependencyContainer.h"

#include <Models/App.h>
#include <Terminal/Terminal.h>

#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// The apps of the account on the hosted service; absent when nobody is logged in, or the service no longer
/// accepts the token. Without a token the service is not asked. Throws what else listing throws.
std::optional<std::vector<ServerApp>> listHostedApps(DependencyContainer& services, Terminal& terminal);

/// Null when there is none with that identifier.
const ServerApp* findApp(const std::vector<ServerApp>& apps, const std::string& bundleIdentifier);

} // namespace halvo
