#pragma once

#include "Commands/Release/ReleaseDestination.h"
#include "Commands/Release/ReleaseInput.h"
#include "Commands/Release/ReleasePlan.h"

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

    /// After a failed upload: the prepared file, which stays for another try.
    const std::optional<std::filesystem::path>& keptFile() const { return kept; }
    /// After a failed upload: what else the person has to know before another try; may be empty.
    const std::string& hint() const { return failureHint; }

private:
    /// How the delivery to one kind of destination is spoken of.
    struct UploadTexts {
        const char* message;
        const char* successMessage;
        const char* place; ///< behind "has been successfully uploaded"
    };

    ImportedBundle importInput(const ReleaseInput& input);
    /// False when the person decides against a release that is not notarized.
    bool agreesToNotarization(const ImportedBundle& imported, const ReleasePlan& plan);
    PreparedBinary prepare(const ImportedBundle& imported, const ReleasePlan& plan, const PrivateKey& key,
                           ProgressUpdater& line);
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
    std::optional<std::filesystem::path> kept{};
    std::string failureHint{};
    ProgressUpdater* uploadLine = nullptr;
    MacKeyChainStore keyChain;
    UserDefaultsStorageController storage;
    LocalAppRepository localApps;
    SystemDistributionTools tools;
    ZipService zipService;
    BundleImportService importer;
    BinaryPreparationService preparation;
    ReleaseCredentials credentials;
};

} // namespace halvo
