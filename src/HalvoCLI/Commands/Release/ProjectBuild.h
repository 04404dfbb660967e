#pragma once

#include "Commands/Release/ReleaseCredentials.h"
#include "Commands/Release/SuppliedProvisioningProfile.h"

#include <HalvoNotarization/XcodeArchiveService.h>
#include <Models/Release.h>
#include <Models/ReleaseVersionOverride.h>

#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// Makes an archive of the app in an Xcode project or workspace.
class ProjectBuild {
public:
    /// Asks the place where the new release of an app will go for its next build number.
    using NextBuild = std::function<std::int64_t(const std::string& bundleIdentifier)>;

    /// Throws CLIError `missing_argument` when no scheme is named.
    ProjectBuild(const ReleaseOptions& options, const ReleaseCredentials& credentials, Platform& platform,
                 const OutputContext& context);

    /// The app that the scheme builds, or the one that was named. Absent when xcodebuild does not tell.
    std::optional<std::string> bundleIdentifier(const URL& project);

    /// The versions to build with, as far as they are given. Throws CLIError when `--build-number auto`
    /// cannot be answered.
    ReleaseVersionOverride resolveOverride(const URL& project, const NextBuild& nextBuild);

    /// The archive, which belongs to the caller. It is made without a profile first; only an app that needs
    /// one is archived anew with what can provide it: the given profile, else the App Store Connect key,
    /// else, where a person sits, the account that Xcode knows. Throws CLIError and what XcodeArchiveService
    /// throws.
    std::filesystem::path archive(const URL& project, const std::map<std::string, std::string>& buildSettings,
                                  const std::optional<ResolvedProvisioningProfile>& profile);

private:
    using Attempt = std::function<std::filesystem::path(const XcodeArchiveService::Signing&)>;

    std::int64_t resolveAutoBuildNumber(const URL& project, const NextBuild& nextBuild,
                                        ProgressUpdater& line);
    std::filesystem::path
    archiveProjectWithProgress(const Attempt& attempt,
                               const std::optional<ResolvedProvisioningProfile>& profile,
                               ProgressUpdater& line);

    const ReleaseOptions& options;
    const ReleaseCredentials& credentials;
    Clock& clock;
    const OutputContext& context;
    XcodeArchiveService xcode;
    std::optional<std::string> bundle{}; ///< once xcodebuild told it
};

/// The table "Version Override", in text format only. `source` is what `--build-number` was.
void displayVersionOverride(const ReleaseVersionOverride& versionOverride,
                            const std::optional<BuildNumber>& source, const OutputContext& context);

} // namespace halvo
