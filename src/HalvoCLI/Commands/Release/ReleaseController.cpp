#include "Commands/Release/ReleaseController.h"

#include "Commands/Release/ProjectBuild.h"
#include "Commands/Release/ReleaseResults.h"

#include <Models/ServiceAddresses.h>
#include <Platform/Files.h>

namespace halvo {
namespace {

using Signing = ArchiveExporter::Signing;

CLIError notarizationNotConfigured(const std::string& bundle) {
    return {"notarization_not_configured",
            "Notarization is not configured. Pass --skip-notarization to release without it, or configure "
            "with `halvo config set release keychain-profile <name> -b " +
                bundle + "`."};
}

Alert notNotarizedAlert(const std::string& bundle) {
    return {.message =
                "This release will not be notarized. Users will see a Gatekeeper warning when opening the "
                "app.\nTo enable notarization, create a keychain profile with " +
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

/// The size of the file to upload, where it is there already.
std::optional<std::uint64_t> sizeOfGivenFile(const ImportedBundle& imported) {
    const URL* file = nullptr;
    if (const auto* image = std::get_if<ImportedBundle::DMG>(&imported.value))
        file = &image->sourceURL;
    else if (const auto* archive = std::get_if<ImportedBundle::ZIP>(&imported.value))
        file = &archive->sourceURL;
    return file ? std::optional(std::filesystem::file_size(file->filePath())) : std::nullopt;
}

/// Whether a key can add to this way of signing.
bool hasNoProfiles(const std::optional<Signing>& signing) {
    if (!signing)
        return true;
    if (const auto* manual = std::get_if<Signing::Manual>(&signing->value))
        return manual->provisioningProfiles.empty();
    return !std::get<Signing::Automatic>(signing->value).authentication;
}

/// Removes the folder of a local build again when nothing came into it.
struct EmptyFolderGuard {
    const std::filesystem::path& folder;
    ~EmptyFolderGuard() {
        std::error_code notEmpty;
        std::filesystem::remove(folder, notEmpty);
    }
};

/// The icon that importing a ZIP archive or a disk image copied out of it.
class ImportedIconGuard {
public:
    explicit ImportedIconGuard(const ImportedBundle& imported) {
        if (sizeOfGivenFile(imported))
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

std::optional<Signing> escalatedExportSigning(const std::optional<Signing>& after,
                                              const std::optional<NotarizationCredentials>& credentials) {
    if (!credentials || !hasNoProfiles(after))
        return std::nullopt;
    auto key = authenticationKey(*credentials);
    if (!key)
        return std::nullopt;
    return Signing{Signing::Automatic{std::move(key)}};
}

ReleaseController::ReleaseController(const ReleaseOptions& options, Platform& platform,
                                     const OutputContext& context, Warn warn)
    : options(options), platform(platform), context(context), warn(std::move(warn)), services(platform),
      tools(platform), zipService(platform.temporaryDirectory, platform.cancellation),
      dmgService(platform.processes, platform.log, platform.temporaryDirectory, platform.cancellation,
                 platform.hasDiskImageTools),
      importer(zipService, dmgService), preparation(tools, zipService, platform.cancellation),
      credentials(options, platform.environment, services.keyChain(), context) {}

void ReleaseController::run() {
    channel = resolveChannel(options.channel, options.beta);
    const ReleaseInput input = resolveReleaseInput(options.path, std::filesystem::current_path());
    checkOptionsAgainstInput(options, input.kind);
    if (options.channel && options.channel->empty())
        warn("--channel is empty, so this release is for everybody. For one channel's subscribers alone, "
             "name it; `halvo releases update ID --channel NAME` moves a release that is out.");
    std::optional<ResolvedProvisioningProfile> profile;
    if (input.kind != ReleaseInput::Kind::bundle)
        profile = resolveArchiveProvisioningProfile(options, platform);
    if (input.kind == ReleaseInput::Kind::project)
        releaseProject(input.url, profile);
    else
        releaseFrom(input, profile, {});
}

OpenPublication ReleaseController::open(const PublishedApp& app, const std::optional<PrivateKey>& key) {
    FeedRights rights{.adoptsFeed = options.adoptFeed};
    if (key)
        rights.key = [key] { return key; };
    return openPublication(app, options.publication, rights, services, context.noora());
}

void ReleaseController::releaseProject(const URL& project,
                                       const std::optional<ResolvedProvisioningProfile>& profile) {
    ProjectBuild build(options, credentials, platform, context);
    const auto nextBuild = [this](const std::string& bundle) {
        return open({bundle}).publication->nextBuildNumber();
    };
    if (!options.output)
        reachBucket(build.bundleIdentifier(project));
    const ReleaseVersionOverride versions = build.resolveOverride(project, nextBuild);
    TemporaryPath archive(build.archive(project, versions.buildSettings(), profile));
    try {
        releaseFrom({URL::file(archive.path()), ReleaseInput::Kind::archive}, profile, versions);
    } catch (const ArchiveExportError& error) {
        if (!error.exportFolder.empty())
            leftoverLines.push_back("The archive stays at " + archive.release().string() + ".");
        throw;
    }
}

/// A bucket that cannot be reached, or whose feed cannot be read, is found out before the minutes that a
/// build takes.
void ReleaseController::reachBucket(const std::optional<std::string>& bundle) {
    if (bundle && (options.publication.bucket.makeConfiguration(platform.environment) ||
                   services.localApps().fetchStored(*bundle)))
        open({*bundle}).publication->reach();
}

void ReleaseController::releaseFrom(const ReleaseInput& input,
                                    const std::optional<ResolvedProvisioningProfile>& profile,
                                    const ReleaseVersionOverride& versionOverride) {
    const ImportedBundle imported = importInput(input);
    const ImportedIconGuard iconGuard(imported);
    verify(versionOverride, imported.bundleInfo());

    const ReleasePlanner planner(options, credentials, services.storageController(), tools, platform,
                                 context);
    const ReleasePlan plan = planner.makePlan(imported.bundleInfo().identifier,
                                              input.kind == ReleaseInput::Kind::archive, profile);
    displayReleaseSettings(plan, context);
    if (!versionOverride.isEmpty())
        displayVersionOverride(versionOverride, options.buildNumber, context);
    if (!agreesToNotarization(imported, plan))
        return;
    const PrivateKey key = credentials.getSigningKey(imported.bundleInfo());
    const Job job{imported, plan, key};
    try {
        if (options.output)
            buildLocally(job, outputDirectory());
        else
            publish(job);
    } catch (const ArchiveExportError& error) {
        if (!error.exportFolder.empty())
            leftoverLines.push_back("The export folder stays at " + error.exportFolder.string() + ".");
        throw;
    }
}

ImportedBundle ReleaseController::importInput(const ReleaseInput& input) {
    return context.noora().progressStep({.message = "Extract app metadata",
                                         .successMessage = "App metadata extracted",
                                         .errorMessage = "Failed to extract app metadata"},
                                        [&](ProgressUpdater&) {
                                            return input.kind == ReleaseInput::Kind::archive
                                                       ? importer.importArchive(input.url)
                                                       : importer.importBundle(input.url);
                                        });
}

bool ReleaseController::agreesToNotarization(const ImportedBundle& imported, const ReleasePlan& plan) {
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

std::filesystem::path ReleaseController::outputDirectory() const {
    const std::filesystem::path directory =
        (std::filesystem::current_path() / expandingTilde(*options.output, platform.homeDirectory))
            .lexically_normal();
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error)
        throw FileError("create", directory, error.value());
    const TemporaryPath trial(directory / (".halvo-" + UUID::random().string()));
    writeNewFile(trial.path(), {}); // a folder that cannot be written is found out before anything is built
    return directory;
}

void ReleaseController::buildLocally(const Job& job, const std::filesystem::path& directory) {
    const BundleInfo& info = job.info();
    context.info("Building " + TerminalText::accent(info.name) + "...");
    EmptyFolderGuard guard{directory};
    PreparedBinary prepared = prepare(job, stepLines(context));
    leftoverLines.clear();
    std::filesystem::path target;
    try {
        target = prepared.deliver(directory, info.name + "-" + info.versionString);
    } catch (const FileError&) {
        prepared.keep();
        if (prepared.isOwn())
            leftoverLines.push_back("The finished file stays at " + prepared.file().string() + ".");
        throw;
    }
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

void ReleaseController::publish(const Job& job) {
    const BundleInfo& info = job.info();
    const OpenPublication opened = open({info.identifier, info.name}, job.key);
    Publication& publication = *opened.publication;
    if (opened.namedBucket)
        context.info("Releasing to S3 bucket " + TerminalText::primary(*opened.namedBucket) +
                     " (from flags/env).");
    for (const std::string& line : preflight(publication, job))
        warn(line);
    PreparedBinary prepared = prepare(job);
    leftoverLines.clear();
    const Publication::Uploaded uploaded = upload(publication, prepared, job);
    const std::string place = publication.place();
    context.noora().success("New release of " + TerminalText::accent(info.name) +
                            " has been successfully uploaded" + (place.empty() ? "" : " to " + place) + ".");
    context.emit(
        ReleaseUploadResult({info.name, info.identifier}, uploaded.release, uploaded.latestDownloadURL));
}

Warnings ReleaseController::preflight(Publication& publication, const Job& job) {
    const ReleaseConfiguration configuration = releaseConfiguration(options, channel);
    Warnings warnings = context.noora().progressStep(
        {.message = "Running preflight checks",
         .successMessage = "Preflight checks passed",
         .errorMessage = "Preflight checks failed"},
        [&](ProgressUpdater&) {
            return publication.preflightCheck(job.info(), configuration, sizeOfGivenFile(job.imported));
        });
    const auto& feedURL = job.info().sparkleFeedURL;
    if (feedURL && *feedURL != publication.feedURL())
        warnings.push_back("The app looks for updates at " + feedURL->absoluteString() +
                           " (SUFeedURL in its Info.plist), and this release goes into " +
                           publication.feedURL().absoluteString() + ".");
    return warnings;
}

PreparedBinary ReleaseController::prepare(const Job& job, const StepChange& onStep) {
    return context.noora().progressStep(
        {.message = "Preparing " + job.info().name,
         .successMessage = "Build artifact ready",
         .errorMessage = "Failed to prepare binary"},
        [&](ProgressUpdater& line) {
            BinaryPreparationService::Request request{
                .importedBundle = job.imported,
                .privateKey = job.key,
                .packageFormat = job.plan.packageFormat,
                .notarizationPolicy = job.plan.notarizationPolicy,
                .exportSigning = job.plan.exportSigning,
                .onStepChange =
                    onStep ? onStep : [&line](ReleaseState::Step step) { line.update(text(step)); },
                .onProgress = [&line](std::uint64_t done,
                                      std::uint64_t total) { line.progress(done, total); },
                .notarization = {.onSubmission =
                                     [this](const std::string& id) {
                                         leftoverLines = {
                                             "Apple's notary service goes on with the submission " + id +
                                             "."};
                                     },
                                 .onProgress = [&line](const std::string& told) { line.update(told); }}};
            try {
                return preparation.prepareBinary(request);
            } catch (const ArchiveExportError& error) {
                if (!std::holds_alternative<ArchiveExportError::ProvisioningProfileRequired>(error.which))
                    throw;
                request.exportSigning = escalatedExportSigning(job.plan.exportSigning,
                                                               credentials.resolveNotarizationCredentials());
                if (!request.exportSigning)
                    throw;
                removeQuietly(
                    error.exportFolder); // of two exports that failed, the folder of the second stays
            }
            line.update("Entitlements require a provisioning profile; retrying export with App Store Connect "
                        "API-key provisioning");
            return preparation.prepareBinary(request);
        });
}

Publication::Uploaded ReleaseController::upload(Publication& publication, PreparedBinary& prepared,
                                                const Job& job) {
    const std::string place = publication.place().empty() ? "" : " to " + publication.place();
    try {
        return context.noora().progressStep(
            {.message = "Uploading release" + place,
             .successMessage = "Release uploaded" + place,
             .errorMessage = "Failed to upload release"},
            [&](ProgressUpdater& line) {
                return publication.upload(
                    prepared, job.info(), releaseConfiguration(options, channel),
                    [&line](std::uint64_t sent, std::uint64_t total) { line.progress(sent, total); });
            });
    } catch (const std::exception&) {
        if (const std::string held = publication.leftovers(); !held.empty())
            leftoverLines.push_back(held);
        if (prepared.isOwn()) {
            prepared.keep();
            leftoverLines.push_back("The prepared file stays at " + prepared.file().string() + ".");
        }
        throw;
    }
}

} // namespace halvo
