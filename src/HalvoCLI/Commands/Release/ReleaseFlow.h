#pragma once

#include "Commands/Release/ReleaseDestination.h"
#include "Commands/Release/ReleaseInput.h"
#include "Commands/Release/ReleasePlan.h"
#include "Commands/Release/ReleasePreparation.h"

#include <HalvoCore/BinaryPreparationService.h>
#include <HalvoCore/BundleImportService.h>
#include <HalvoCore/ReleaseUploader.h>
#include <HalvoCore/SystemDistributionTools.h>
#include <HalvoCore/ZipService.h>
#include <KeyChain/MacKeyChainStore.h>

#include <filesystem>
#include <optional>

namespace halvo {

/// One run of `release`, from its options to its result: imports, decides, prepares and delivers.
class ReleaseFlow {
public:
    ReleaseFlow(const ReleaseOptions& options, Platform& platform, const OutputContext& context);

    /// Reports progress and the result through the context. Every failure is thrown.
    void run();

    /// After a failure: lines for its report about what stays, and how another try makes use of it. May be
    /// empty.
    const std::string& leftovers() const { return leftoverLines; }

private:
    /// How the delivery to one kind of destination is spoken of.
    struct UploadTexts {
        const char* message;
        const char* successMessage;
        const char* place; ///< behind "has been successfully uploaded"
    };

    void releaseProject(const URL& project, const std::optional<ResolvedProvisioningProfile>& profile);
    void releaseFrom(const ReleaseInput& input, const std::optional<ResolvedProvisioningProfile>& profile,
                     const ReleaseVersionOverride& versionOverride);
    ImportedBundle importInput(const ReleaseInput& input);
    /// False when the person decides against a release that is not notarized.
    bool agreesToNotarization(const ImportedBundle& imported, const ReleasePlan& plan);
    void buildLocally(const ImportedBundle& imported, const ReleasePlan& plan, const PrivateKey& key);
    void publish(const ImportedBundle& imported, const ReleasePlan& plan, const PrivateKey& key);
    void publishToS3(const LocalApp& app, const ImportedBundle& imported, const ReleasePlan& plan,
                     const PrivateKey& key);
    void publishToService(const ImportedBundle& imported, const ReleasePlan& plan, const PrivateKey& key);
    /// The steps that every destination has in common.
    void deliver(ReleaseUploaderProtocol& uploader, const UploadTexts& texts, const ImportedBundle& imported,
                 const ReleasePlan& plan, const PrivateKey& key);
    ReleaseConfiguration configuration() const;
    /// Reports on the line of the upload while there is one.
    TransferProgress uploadProgress();

    const ReleaseOptions& options;
    Platform& platform;
    const OutputContext& context;

    std::optional<std::string> channel{};
    std::string leftoverLines{};
    ProgressUpdater* uploadLine = nullptr;
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
