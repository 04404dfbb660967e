#pragma once

#include "Commands/Release/ReleaseDestination.h"
#include "Commands/Release/ReleaseInput.h"
#include "Commands/Release/ReleasePlan.h"

#include <HalvoCore/BinaryPreparationService.h>
#include <HalvoCore/BundleImportService.h>
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

private:
    ImportedBundle importInput(const ReleaseInput& input);
    /// False when the person decides against a release that is not notarized.
    bool agreesToNotarization(const ImportedBundle& imported, const ReleasePlan& plan);
    PreparedBinary prepare(const ImportedBundle& imported, const ReleasePlan& plan, const PrivateKey& key,
                           ProgressUpdater& line);
    void buildLocally(const ImportedBundle& imported, const ReleasePlan& plan, const PrivateKey& key);
    void publish(const ImportedBundle& imported, const ReleasePlan& plan, const PrivateKey& key);
    void publishToS3(const LocalApp& app, const ImportedBundle& imported, const ReleasePlan& plan,
                     const PrivateKey& key);
    ReleaseConfiguration configuration() const;

    const ReleaseOptions& options;
    Platform& platform;
    const OutputContext& context;

    std::optional<std::string> channel{};
    std::optional<std::filesystem::path> kept{};
    MacKeyChainStore keyChain;
    UserDefaultsStorageController storage;
    LocalAppRepository localApps;
    SystemDistributionTools tools;
    ZipService zipService;
    DMGService dmgService;
    BundleImportService importer;
    BinaryPreparationService preparation;
    ReleaseCredentials credentials;
};

} // namespace halvo
