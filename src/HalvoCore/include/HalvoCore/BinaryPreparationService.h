#pragma once

#include <HalvoCore/DistributionTools.h>
#include <HalvoCore/PreparedBinary.h>
#include <HalvoCore/ZipService.h>

#include <Ed25519/PrivateKey.h>
#include <Models/ImportedBundle.h>
#include <Models/Notarization.h>
#include <Models/PackageFormat.h>
#include <Models/ReleaseState.h>

#include <functional>
#include <optional>
#include <stop_token>

namespace halvo {

/// Told of each step just before its work. May be called from any thread.
using StepChange = std::function<void(ReleaseState::Step)>;

/// Turns what was imported into the one file to upload, and its signature: decides what is code-signed,
/// packed and notarized, and in which order.
class BinaryPreparationService {
public:
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
    /// of an export that failed, which its ArchiveExportError names. Throws CodedFailure
    /// `sparkle_key_mismatch` when installed copies of the app would refuse the signature.
    PreparedBinary prepareBinary(const Request& request);
    /// What will be true of the release. Never fails: a check that cannot be made counts as "not notarized".
    NotarizationAssessment assessNotarization(const ImportedBundle& importedBundle,
                                              const PackageFormat& packageFormat,
                                              const NotarizationPolicy& notarizationPolicy);

private:
    PreparedBinary makeArtifact(const Request& request);
    PreparedBinary zipApp(const URL& appURL, const Request& request);
    PreparedBinary buildDMG(const URL& appURL, const PackageFormat::DMG& format, const Request& request);
    void notarize(const URL& file, const Request& request);

    DistributionTools& tools;
    const ZipService& zipService;
    std::stop_token cancellation;
};

} // namespace halvo
