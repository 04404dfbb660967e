#pragma once

#include "Commands/Release/ReleaseDestination.h"
#include "Commands/Release/ReleaseInput.h"
#include "Commands/Release/ReleasePlan.h"
#include "Commands/Release/ReleasePreparation.h"

#include <HalvoCore/BinaryPreparationService.h>
#include <HalvoCore/BundleImportService.h>
#include <HalvoCore/SystemDistributionTools.h>
#include <HalvoCore/ZipService.h>
#include <KeyChain/MacKeyChainStore.h>

#include <filesystem>
#include <optional>

namespace halvo {

/// What a failed release leaves, so that another try can begin there.
struct KeptFile {
    std::filesystem::path path{};
    const char* kind = ""; ///< such as "archive"
    const char* use = "";  ///< what `release` does with it: "exports it"
};

/// One run of `release`, from its options to its result: imports, decides, prepares and delivers.
class ReleaseFlow {
public:
    ReleaseFlow(const ReleaseOptions& options, Platform& platform, const OutputContext& context);

    /// Reports progress and the result through the context. Every failure is thrown.
    void run();

    /// After a failed upload the prepared file, after a failed export the archive of the project.
    const std::optional<KeptFile>& keptFile() const { return kept; }

private:
    void releaseFrom(const ReleaseInput& input, const std::optional<ResolvedProvisioningProfile>& profile,
                     const ReleaseVersionOverride& versionOverride);
    void releaseProject(const URL& project, const std::optional<ResolvedProvisioningProfile>& profile);
    ImportedBundle importInput(const ReleaseInput& input);
    /// False when the person decides against a release that is not notarized.
    bool agreesToNotarization(const ImportedBundle& imported, const ReleasePlan& plan);
    void buildLocally(const ImportedBundle& imported, const ReleasePlan& plan, const PrivateKey& key);
    void publish(const ImportedBundle& imported, const ReleasePlan& plan, const PrivateKey& key);
    void publishToS3(const LocalApp& app, const ImportedBundle& imported, const ReleasePlan& plan,
                     const PrivateKey& key);
    ReleaseConfiguration configuration() const;

    const ReleaseOptions& options;
    Platform& platform;
    const OutputContext& context;

    std::optional<std::string> channel{};
    std::optional<KeptFile> kept{};
    MacKeyChainStore keyChain;
    UserDefaultsStorageController storage;
    LocalAppRepository localApps;
    SystemDistributionTools tools;
    ZipService zipService;
    DMGService dmgService;
    BundleImportService importer;
    BinaryPreparationService preparation;
    ReleaseCredentials credentials;
    ReleasePreparation binaries;
};

} // namespace halvo
