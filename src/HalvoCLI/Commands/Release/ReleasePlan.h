#pragma once

#include "Commands/Release/ReleaseCredentials.h"
#include "Commands/Release/SuppliedProvisioningProfile.h"

#include <HalvoCore/DistributionTools.h>
#include <HalvoCore/StorageController.h>
#include <Models/Notarization.h>
#include <Models/PackageFormat.h>
#include <Models/ReleaseSettings.h>

#include <optional>

namespace halvo {

/// What one run of `release` does with the app, once flags have been laid over the stored settings. Nothing
/// of it is written back.
struct ReleasePlan {
    std::optional<ReleaseSettings> settings{};
    bool watermark = false;
    std::optional<URL> background{};
    std::optional<ArchiveExporter::Signing> exportSigning{};
    PackageFormat packageFormat{};
    NotarizationPolicy notarizationPolicy{};
};

/// Decides the plan of a run.
class ReleasePlanner {
public:
    ReleasePlanner(const ReleaseOptions& options, const ReleaseCredentials& credentials,
                   StorageControllerProtocol& storage, DistributionTools& tools, const Platform& platform,
                   const OutputContext& context)
        : options(options), credentials(credentials), storage(storage), tools(tools), platform(platform),
          context(context) {}

    /// `profile` signs what is exported from an archive. Warns of a background that is ignored or not sharp.
    /// Throws CLIError `missing_argument`, CodesigningError, Failure for a background that does not fit, and
    /// what reading the settings throws.
    ReleasePlan makePlan(const std::string& bundleIdentifier, bool fromArchive,
                         const std::optional<ResolvedProvisioningProfile>& profile = {}) const;

private:
    ReleasePlan resolveReleaseSettings(const std::string& bundleIdentifier) const;
    CodesignIdentity resolveIdentity(const std::optional<ReleaseSettings>& stored) const;
    std::optional<URL> resolveBackground(const std::optional<ReleaseSettings>& stored) const;
    void requireNotarization(const std::optional<ReleaseSettings>& stored) const;
    NotarizationPolicy resolvedNotarizationPolicy(const std::optional<ReleaseSettings>& settings) const;
    std::optional<ArchiveExporter::Signing>
    exportSigning(const std::optional<ReleaseSettings>& settings,
                  const std::optional<ResolvedProvisioningProfile>& profile) const;
    void noteIgnoredBackgroundFlag() const;

    const ReleaseOptions& options;
    const ReleaseCredentials& credentials;
    StorageControllerProtocol& storage;
    DistributionTools& tools;
    const Platform& platform;
    const OutputContext& context;
};

/// "Skipped", "ASC API key (ID)" or the name of the keychain profile.
std::string notarizationDescription(const NotarizationPolicy& policy);

/// The table "Release Settings", in text format only.
void displayReleaseSettings(const ReleasePlan& plan, const OutputContext& context);

} // namespace halvo
