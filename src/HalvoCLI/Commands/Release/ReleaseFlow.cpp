#include "Commands/Release/ReleaseFlow.h"

#include "Commands/Release/HostedRelease.h"
#include "Commands/Release/Leftovers.h"
#include "Commands/Release/LocalOutput.h"
#include "Commands/Release/ProjectBuild.h"
#include "Commands/Release/ReleaseResults.h"
#include "Commands/Release/ReleasedBuilds.h"
#include "DependencyContainer.h"
#include "ServiceFailure.h"

#include <HalvoCore/AppcastReleaseUploader.h>
#include <HalvoCore/S3AppcastStorage.h>
#include <HalvoCore/TemporaryArtifact.h>
#include <Models/ServiceAddresses.h>
#include <Platform/Files.h>

namespace halvo {
namespace {

CLIError notarizationNotConfigured(const std::string& bundle) {
    return {"notarization_not_configured",
            "Notarization is not configured. Pass --skip-notarization to release "
            "without it, or configure with `halvo config set release keychain-profile "
            "<name> -b " +
                bundle + "`."};
}

Alert notNotarizedAlert(const std::string& bundle) {
    return {
        .message =
            "This release will not be notarized. Users will see a Gatekeeper warning when opening the app.\n"
            "To enable notarization, create a keychain profile with " +
            TerminalText::command("xcrun notarytool store-credentials") + " and configure it with " +
            TerminalText::command("halvo config set release keychain-profile <name> -b " + bundle) +
            "\nLearn more: " + helpAddress::codesigning};
}

/// Throws CLIError when the archived app does not have the versions that were asked for.
void verify(const ReleaseVersionOverride& versionOverride, const BundleInfo& info) {
    try {
        versionOverride.verify(info);
    } catch (const ReleaseVersionOverrideError& error) {
        throw CLIError::buildVersionOverrideIgnored(error);
    }
}

/// What a local build tells of its steps: lines among the results for a person; nothing of its own in JSON.
StepChange stepLines(const OutputContext& context) {
    if (context.format() == OutputFormat::json)
        return {};
    return [&context](ReleaseState::Step step) { context.info("  " + std::string(text(step))); };
}

/// The icon that importing a ZIP archive or a disk image copied out of it.
class ImportedIconGuard {
public:
    explicit ImportedIconGuard(const ImportedBundle& imported) {
        if (!std::holds_alternative<ImportedBundle::App>(imported.value) &&
            !std::holds_alternative<ImportedBundle::ArchivedApp>(imported.value))
            icon = imported.bundleInfo().appIcon;
    }
    ImportedIconGuard(const ImportedIconGuard&) = delete;
    ImportedIconGuard& operator=(const ImportedIconGuard&) = delete;
    ~ImportedIconGuard() {
        if (icon)
            removeQuietly(icon->filePath());
    }

private:
    std::optional<URL> icon{};
};

} // namespace

ReleaseFlow::ReleaseFlow(const ReleaseOptions& options, Platform& platform, const OutputContext& context)
    : options(options), platform(platform), context(context), keyChain(platform.keychainItems),
      storage(platform.userDefaults),
      localApps(storage, keyChain, S3AppcastStorage::factory(platform), platform.clock), tools(platform),
      zipService(platform.temporaryDirectory, platform.cancellation),
      dmgService(platform.processes, platform.log, platform.temporaryDirectory, platform.cancellation,
                 platform.hasDiskImageTools),
      importer(zipService, dmgService), preparation(tools, zipService, platform.cancellation),
      credentials(options, platform.environment, keyChain, context), binaries(preparation, credentials) {}

void ReleaseFlow::run() {
    channel = resolveChannel(options.channel, options.beta);
    const ReleaseInput input = resolveReleaseInput(options.path, std::filesystem::current_path());
    checkOptionsAgainstInput(options, input.kind);
    std::optional<ResolvedProvisioningProfile> profile;
    if (input.kind != ReleaseInput::Kind::bundle)
        profile = resolveArchiveProvisioningProfile(options, platform);
    if (input.kind == ReleaseInput::Kind::project)
        releaseProject(input.url, profile);
    else
        releaseFrom(input, profile, {});
}

void ReleaseFlow::releaseProject(const URL& project,
                                 const std::optional<ResolvedProvisioningProfile>& profile) {
    ProjectBuild build(options, credentials, platform, context);
    const ReleaseVersionOverride versions = build.resolveOverride(project, [this](const std::string& bundle) {
        return fetchReleasedBuilds(bundle, credentials, localApps, options.s3Destination, platform);
    });
    TemporaryPath archive(build.archive(project, versions.buildSettings(), profile));
    try {
        releaseFrom({URL::file(archive.path()), ReleaseInput::Kind::archive}, profile, versions);
    } catch (const ArchiveExportError& error) {
        if (!error.exportFolder.empty())
            leftoverLines += keptFileLine("archive", archive.release(), "exports it");
        throw;
    }
}

void ReleaseFlow::releaseFrom(const ReleaseInput& input,
                              const std::optional<ResolvedProvisioningProfile>& profile,
                              const ReleaseVersionOverride& versionOverride) {
    const ImportedBundle imported = importInput(input);
    const ImportedIconGuard iconGuard(imported);
    verify(versionOverride, imported.bundleInfo());

    const ReleasePlanner planner(options, credentials, storage, tools, platform, context);
    const std::string& bundle = imported.bundleInfo().identifier;
    const ReleasePlan plan = planner.makePlan(bundle, input.kind == ReleaseInput::Kind::archive, profile);
    displayReleaseSettings(plan, context);
    if (!versionOverride.isEmpty())
        displayVersionOverride(versionOverride, options.buildNumber, context);
    if (!agreesToNotarization(imported, plan))
        return;
    const PrivateKey key = credentials.getSigningKey(bundle);
    try {
        if (options.output)
            buildLocally(imported, plan, key);
        else
            publish(imported, plan, key);
    } catch (const ArchiveExportError& error) {
        leftoverLines += exportFolderLine(error);
        throw;
    }
}

ImportedBundle ReleaseFlow::importInput(const ReleaseInput& input) {
    return context.noora().progressStep({.message = "Extract app metadata",
                                         .successMessage = "App metadata extracted",
                                         .errorMessage = "Failed to extract app metadata"},
                                        [&](ProgressUpdater&) {
                                            return input.kind == ReleaseInput::Kind::archive
                                                       ? importer.importArchive(input.url)
                                                       : importer.importBundle(input.url);
                                        });
}

bool ReleaseFlow::agreesToNotarization(const ImportedBundle& imported, const ReleasePlan& plan) {
    const auto assessment =
        preparation.assessNotarization(imported, plan.packageFormat, plan.notarizationPolicy);
    if (!requiresConfirmation(assessment))
        return true;
    const std::string& bundle = imported.bundleInfo().identifier;
    if (context.format() == OutputFormat::json) {
        if (!options.skipNotarization)
            throw notarizationNotConfigured(bundle);
        return true;
    }
    context.noora().warning({notNotarizedAlert(bundle)});
    return context.confirm("Release without notarization?", options.skipNotarization);
}

void ReleaseFlow::buildLocally(const ImportedBundle& imported, const ReleasePlan& plan,
                               const PrivateKey& key) {
    const BundleInfo& info = imported.bundleInfo();
    context.info("Building " + TerminalText::accent(info.name) + "...");
    const PreparedBinary prepared = context.noora().progressStep(
        {.message = "Preparing " + info.name,
         .successMessage = "Build artifact ready",
         .errorMessage = "Failed to prepare binary"},
        [&](ProgressUpdater& line) {
            return binaries.prepareBinaryWithProgress(imported, plan, key, line, stepLines(context));
        });
    const std::filesystem::path directory =
        std::filesystem::absolute(expandingTilde(*options.output, platform.homeDirectory)).lexically_normal();
    const std::filesystem::path target =
        deliverLocally(prepared.fileURL, prepared.shouldCleanup, info, directory);
    ReleaseBuildResult result;
    result.bundleIdentifier = info.identifier;
    result.name = info.name;
    result.version = info.version;
    result.versionString = info.versionString;
    result.format = pathExtension(target);
    result.fileSize = static_cast<std::int64_t>(std::filesystem::file_size(target));
    result.path = target.string();
    context.noora().success("Artifact built successfully.");
    context.emit(result);
}

ReleaseConfiguration ReleaseFlow::configuration() const {
    return {.releaseNotes = options.releaseNotes.value_or(""),
            .channel = channel,
            .isPhasedRollout = options.phasedRollout,
            .isCritical = options.critical,
            .isPublished = !options.draft};
}

void ReleaseFlow::publish(const ImportedBundle& imported, const ReleasePlan& plan, const PrivateKey& key) {
    const BundleInfo& info = imported.bundleInfo();
    const ReleaseDestination destination =
        resolveReleaseDestination(info.identifier, localApps, options.s3Destination, platform.environment);
    if (const auto* named = std::get_if<ReleaseDestination::EphemeralS3>(&destination.value))
        context.info("Releasing to S3 bucket " + TerminalText::primary(named->configuration.bucket) +
                     " (from flags/env).");
    if (const auto app = localAppOf(destination, info))
        return publishToS3(*app, imported, plan, key);
    publishToService(imported, plan, key);
}

TransferProgress ReleaseFlow::uploadProgress() {
    return [this](std::uint64_t sent, std::uint64_t total) {
        if (uploadLine != nullptr)
            uploadLine->progress(sent, total);
    };
}

void ReleaseFlow::publishToS3(const LocalApp& app, const ImportedBundle& imported, const ReleasePlan& plan,
                              const PrivateKey& key) {
    const BundleInfo& info = imported.bundleInfo();
    const S3Access access = credentials.resolveS3Credentials(info.identifier);
    S3AppcastStorage feed(app.storage.s3(), access.credentials, access.sessionToken, platform,
                          uploadProgress());
    AppcastReleaseUploader uploader({app}, feed, app.storage.publicBaseURL(), true, platform.clock);
    deliver(uploader, {"Uploading release to S3", "Release uploaded to S3", " to S3"}, imported, plan, key);
}

void ReleaseFlow::publishToService(const ImportedBundle& imported, const ReleasePlan& plan,
                                   const PrivateKey& key) {
    const BundleInfo& info = imported.bundleInfo();
    DependencyContainer services(platform);
    requireToken(services);
    const ServerApp app =
        context.noora().wait("Fetching your apps", [&] { return findHostedApp(services.apiClient(), info); });
    HalvoReleaseUploader uploader(services.apiClient(), app,
                                  IconConverter(platform.images, platform.temporaryDirectory),
                                  uploadProgress());
    try {
        deliver(uploader, {"Uploading release", "Release uploaded", ""}, imported, plan, key);
    } catch (...) {
        leftoverLines.insert(0, unfinishedReleaseHint(uploader, info));
        throw;
    }
}

void ReleaseFlow::deliver(ReleaseUploaderProtocol& uploader, const UploadTexts& texts,
                          const ImportedBundle& imported, const ReleasePlan& plan, const PrivateKey& key) {
    const BundleInfo& info = imported.bundleInfo();
    context.noora().progressStep({.message = "Running preflight checks",
                                  .successMessage = "Preflight checks passed",
                                  .errorMessage = "Preflight checks failed"},
                                 [&](ProgressUpdater&) { uploader.preflightCheck(info); });
    const PreparedBinary prepared = context.noora().progressStep(
        {.message = "Preparing " + info.name,
         .successMessage = "Build artifact ready",
         .errorMessage = "Failed to prepare binary"},
        [&](ProgressUpdater& line) { return binaries.prepareBinaryWithProgress(imported, plan, key, line); });
    DefaultReleasePublisher publisher(uploader);
    try {
        const UploadResult result =
            context.noora().progressStep({.message = texts.message,
                                          .successMessage = texts.successMessage,
                                          .errorMessage = "Failed to upload release"},
                                         [&](ProgressUpdater& line) {
                                             uploadLine = &line;
                                             return publisher.publish(prepared, configuration(), {});
                                         });
        context.noora().success("New release of " + TerminalText::accent(info.name) +
                                " has been successfully uploaded" + texts.place + ".");
        context.emit(
            ReleaseUploadResult({info.name, info.identifier}, result.release, result.app.downloadURL()));
    } catch (const CancelledError&) {
        if (prepared.shouldCleanup)
            removeTemporaryArtifact(prepared.fileURL);
        throw;
    } catch (...) {
        if (prepared.shouldCleanup &&
            std::holds_alternative<ReleaseState::UploadFailed>(publisher.state().value))
            leftoverLines += keptFileLine("prepared file", prepared.fileURL.filePath(), "uploads it");
        throw;
    }
}

} // namespace halvo
