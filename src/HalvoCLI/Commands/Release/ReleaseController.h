#pragma once

#include "Commands/Release/ReleaseInput.h"
#include "Commands/Release/ReleasePlan.h"
#include "DependencyContainer.h"

#include <HalvoCore/BinaryPreparationService.h>
#include <HalvoCore/BundleImportService.h>
#include <HalvoCore/SystemDistributionTools.h>

#include <filesystem>
#include <functional>
#include <optional>

namespace halvo {

/// One release, from the options of the command to its result: imports, decides, prepares and delivers.
class ReleaseController {
public:
    /// `warn` takes lines for standard error, in either format.
    using Warn = std::function<void(const std::string&)>;

    ReleaseController(const ReleaseOptions& options, Platform& platform, const OutputContext& context,
                      Warn warn);

    /// Reports progress and the result through the context. Every failure is thrown.
    void run();

    /// After a failure: lines about what stays. May be empty.
    const Warnings& leftovers() const { return leftoverLines; }

private:
    /// What is released, once everything about it is decided.
    struct Job {
        const ImportedBundle& imported;
        const ReleasePlan& plan;
        const PrivateKey& key;

        const BundleInfo& info() const { return imported.bundleInfo(); }
    };

    void releaseProject(const URL& project, const std::optional<ResolvedProvisioningProfile>& profile);
    void releaseFrom(const ReleaseInput& input, const std::optional<ResolvedProvisioningProfile>& profile,
                     const ReleaseVersionOverride& versionOverride);
    void reachBucket(const std::optional<std::string>& bundle);
    ImportedBundle importInput(const ReleaseInput& input);
    /// False when the person decides against a release that is not notarized.
    bool agreesToNotarization(const ImportedBundle& imported, const ReleasePlan& plan);

    /// The folder of `--output`, made when missing.
    std::filesystem::path outputDirectory() const;
    void buildLocally(const Job& job, const std::filesystem::path& directory);
    void publish(const Job& job);
    Warnings preflight(Publication& publication, const Job& job);
    /// `onStep` takes each step in the place of the line.
    PreparedBinary prepare(const Job& job, const StepChange& onStep = {});
    Publication::Uploaded upload(Publication& publication, PreparedBinary& prepared, const Job& job);
    OpenPublication open(const PublishedApp& app, const std::optional<PrivateKey>& key = {});

    const ReleaseOptions& options;
    Platform& platform;
    const OutputContext& context;
    Warn warn;

    std::optional<std::string> channel{};
    Warnings leftoverLines{};
    DependencyContainer services;
    SystemDistributionTools tools;
    ZipService zipService;
    DMGService dmgService;
    BundleImportService importer;
    BinaryPreparationService preparation;
    ReleaseCredentials credentials;
};

/// How to export after an export that lacked a provisioning profile; absent when there is nothing left to
/// try.
std::optional<ArchiveExporter::Signing>
escalatedExportSigning(const std::optional<ArchiveExporter::Signing>& after,
                       const std::optional<NotarizationCredentials>& credentials);

} // namespace halvo
