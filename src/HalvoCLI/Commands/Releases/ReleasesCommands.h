#pragma once

#include "CommandLine/Command.h"
#include "Commands/Commands.h"
#include "DependencyContainer.h"

#include <HalvoCore/ReleaseRepository.h>
#include <Terminal/Terminal.h>

#include <memory>
#include <optional>
#include <string>

namespace halvo {

std::unique_ptr<Command> makeReleasesUpdateCommand();
std::unique_ptr<Command> makeReleasesDeleteCommand();

/// A release together with the place where it is edited, which borrows from the services.
struct FoundRelease {
    std::unique_ptr<ReleaseRepository> repository{};
    Release release{};
};

/// Throws Failure "Invalid release ID: " and the text.
UUID parseReleaseID(const std::string& text);

/// Looks a release of an app up. Throws as `fetchReleases` does.
std::optional<FoundRelease> findRelease(const UUID& id, const std::string& bundleIdentifier,
                                        DependencyContainer& services, Terminal& terminal);

/// What the terminal shows while releases are on their way.
inline constexpr const char* fetchingReleases = "Fetching the releases";

/// What is said of a release that `findRelease` did not find.
Failure releaseNotFound(const UUID& id, const std::string& bundleIdentifier);

} // namespace halvo
