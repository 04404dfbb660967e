#pragma once

#include <HalvoCore/DistributionTools.h>
#include <HalvoCore/ReleasePublisher.h>
#include <HalvoCore/ZipService.h>

#include <Ed25519/PrivateKey.h>
#include <Models/ImportedBundle.h>
#include <Models/Notarization.h>
#include <Models/PackageFormat.h>

#include <functional>
#include <optional>
#include <stop_token>

namespace halvo {

/// Turns what was imported into the one file to upload, and its signature: decides what is code-signed,
/// packed and notarized, and in which order.
class BinaryPreparationService {
public:
    struct Prepared {
        URL fileURL{};
        bool shouldCleanup = false; ///< the file is a temporary one
        PrivateKey::Signature signature{};
    };
    /// Told how far the step under way is, where that can be told.
    using StepProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

    struct Request {
        const ImportedBundle& importedBundle;
        const PrivateKey& privateKey;
        const PackageFormat& packageFormat;
        const NotarizationPolicy& notarizationPolicy;
        std::optional<ArchiveExporter::Signing> exportSigning{};
        StepChange onStepChange{};
        StepProgress onProgress{};
        NotarizationObserver notarization{};
    };

    BinaryPreparationService(DistributionTools& tools, const ZipService& zipService,
                             std::stop_token cancellation)
        : tools(tools), zipService(zipService), cancellation(std::move(cancellation)) {}

    /// A failure of any step passes through unchanged. What was made by then is removed, but for the folder
    /// of an export that failed, which its ArchiveExportError names.
    Prepared prepareBinary(const Request& request);

    /// What will be true of the release. Never fails: a check that cannot be made counts as "not notarized".
    NotarizationAssessment assessNotarization(const ImportedBundle& importedBundle,
                                              const PackageFormat& packageFormat,
                                              const NotarizationPolicy& notarizationPolicy);

private:
    struct Artifact {
        URL fileURL{};
        bool shouldCleanup = false;
    };
    Artifact makeArtifact(const Request& request);
    URL zipApp(const URL& appURL, const Request& request);
    URL buildDMG(const URL& appURL, const PackageFormat::DMG& format, const Request& request);
    void notarize(const URL& file, const Request& request);

    DistributionTools& tools;
    const ZipService& zipService;
    std::stop_token cancellation;
};

} // namespace halvo
