#include "Commands/Release/ProjectBuild.h"

#include <Base/Text.h>

namespace halvo {
namespace {

using Signing = XcodeArchiveService::Signing;

/// What an archive is tried with once it turned out to need a provisioning profile.
struct Escalation {
    Signing signing{};
    const char* line; ///< what the step then shows
};

Signing manualSigning(const ResolvedProvisioningProfile& profile) {
    return {Signing::Manual{.identity = profile.identity,
                            .profileSpecifier = profile.specifier,
                            .teamID = profile.teamID,
                            .bundleIdentifier = profile.bundleIdentifier}};
}

std::optional<Escalation> escalation(const std::optional<ResolvedProvisioningProfile>& profile,
                                     const ReleaseCredentials& credentials, bool interactive) {
    if (profile)
        return Escalation{manualSigning(*profile),
                          "Entitlements require a provisioning profile; retrying with the provided profile"};
    if (const auto notarization = credentials.resolveNotarizationCredentials())
        if (auto key = authenticationKey(*notarization))
            return Escalation{
                {Signing::Automatic{std::move(key)}},
                "Entitlements require a provisioning profile; retrying with App Store Connect API-key provisioning"};
    if (interactive)
        return Escalation{{Signing::Automatic{}},
                          "Entitlements require a provisioning profile; retrying with the project's signing"};
    return std::nullopt;
}

/// What xcodebuild said, when it is that a profile is missing.
std::optional<std::string> missingProfile(const XcodeArchiveError& error) {
    const auto* required = std::get_if<XcodeArchiveError::ProvisioningProfileRequired>(&error.which);
    return required ? std::optional(required->text) : std::nullopt;
}

CLIError unknownBuildNumber(const std::exception& error) {
    return {"release_failed", "Could not determine the highest released build number: " + describe(error) +
                                  " Pass an explicit --build-number to release anyway."};
}

} // namespace

ProjectBuild::ProjectBuild(const ReleaseOptions& options, const ReleaseCredentials& credentials,
                           Platform& platform, const OutputContext& context)
    : options(options), credentials(credentials), clock(platform.clock), context(context),
      xcode({platform.processes, platform.environment, platform.log}, platform.temporaryDirectory,
            platform.cancellation) {
    if (!options.scheme || options.scheme->empty())
        throw CLIError("missing_argument",
                       "--scheme is required when releasing from an Xcode project or workspace");
    if (options.bundleId && !options.bundleId->empty())
        bundle = options.bundleId;
}

std::optional<std::string> ProjectBuild::bundleIdentifier(const URL& project) {
    try {
        if (!bundle)
            bundle = context.noora().wait("Reading the build settings", [&] {
                return xcode.bundleIdentifier(project.filePath(), projectType(project), *options.scheme);
            });
    } catch (const Failure&) { // the build tells what is wrong, and the app in it has the identifier too
    }
    return bundle;
}

ReleaseVersionOverride ProjectBuild::resolveOverride(const URL& project, const NextBuild& nextBuild) {
    ReleaseVersionOverride versions{.marketingVersion = options.marketingVersion};
    if (!options.buildNumber)
        return versions;
    if (std::holds_alternative<BuildNumber::Auto>(options.buildNumber->kind))
        versions.buildNumber = context.noora().progressStep(
            {.message = "Resolving next build number",
             .successMessage = "Next build number resolved",
             .errorMessage = "Failed to resolve next build number"},
            [&](ProgressUpdater& line) { return resolveAutoBuildNumber(project, nextBuild, line); });
    else
        versions.buildNumber = options.buildNumber->resolve(clock.now());
    return versions;
}

std::int64_t ProjectBuild::resolveAutoBuildNumber(const URL& project, const NextBuild& nextBuild,
                                                  ProgressUpdater& line) {
    try {
        if (!bundle)
            bundle = xcode.bundleIdentifier(project.filePath(), projectType(project), *options.scheme);
        line.update("Fetching released builds for " + *bundle);
        return nextBuild(*bundle);
    } catch (const CodedFailure&) {
        throw;
    } catch (const std::exception& error) {
        throw unknownBuildNumber(error);
    }
}

std::filesystem::path ProjectBuild::archive(const URL& project,
                                            const std::map<std::string, std::string>& buildSettings,
                                            const std::optional<ResolvedProvisioningProfile>& profile) {
    return context.noora().progressStep(
        {.message = "Archiving project with scheme \"" + *options.scheme + "\"",
         .successMessage = "Xcode archive created",
         .errorMessage = "Failed to create archive"},
        [&](ProgressUpdater& line) {
            const Attempt attempt = [&](const Signing& signing) {
                return xcode.archive(project.filePath(), projectType(project), *options.scheme, signing,
                                     buildSettings, [&line](const std::string& text) {
                                         if (const auto told = trimmed(text); !told.empty())
                                             line.update(std::string(told));
                                     });
            };
            return archiveProjectWithProgress(attempt, profile, line);
        });
}

std::filesystem::path
ProjectBuild::archiveProjectWithProgress(const Attempt& attempt,
                                         const std::optional<ResolvedProvisioningProfile>& profile,
                                         ProgressUpdater& line) {
    std::string details;
    try {
        return attempt({Signing::AdHoc{}});
    } catch (const XcodeArchiveError& error) {
        const auto missing = missingProfile(error);
        if (!missing)
            throw;
        details = *missing;
    }
    const auto next = escalation(profile, credentials, context.interactive());
    if (!next)
        throw CLIError::provisioningProfileRequired(details);
    line.update(next->line);
    try {
        return attempt(next->signing);
    } catch (const XcodeArchiveError& error) {
        const auto missing = missingProfile(error);
        if (missing && profile && profile->bundleIdentifier)
            throw CLIError::provisioningProfileMismatch(*profile->bundleIdentifier, *missing);
        throw;
    }
}

void displayVersionOverride(const ReleaseVersionOverride& versionOverride,
                            const std::optional<BuildNumber>& source, const OutputContext& context) {
    if (context.format() != OutputFormat::text)
        return;
    KeyValueRows rows;
    if (versionOverride.buildNumber) {
        std::string number = std::to_string(*versionOverride.buildNumber);
        if (source && std::holds_alternative<BuildNumber::Auto>(source->kind))
            number += " (auto)";
        else if (source && std::holds_alternative<BuildNumber::Timestamp>(source->kind))
            number += " (timestamp)";
        rows.emplace_back("Build Number", number);
    }
    if (versionOverride.marketingVersion)
        rows.emplace_back("Marketing Version", *versionOverride.marketingVersion);
    context.noora().print("\n" + TerminalText::section("Version Override"));
    context.noora().keyValues(rows);
}

} // namespace halvo
