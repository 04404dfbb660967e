#include "Commands/Release/ReleasePreparation.h"

#include <Base/Base64.h>
#include <Platform/Files.h>

namespace halvo {
namespace {

using Signing = ArchiveExporter::Signing;

/// Whether a key can add to this way of signing.
bool hasNoProfiles(const std::optional<Signing>& signing) {
    if (!signing)
        return true;
    if (const auto* manual = std::get_if<Signing::Manual>(&signing->value))
        return manual->provisioningProfiles.empty();
    return !std::get<Signing::Automatic>(signing->value).authentication;
}

} // namespace

PreparedBinary ReleasePreparation::prepareBinaryWithProgress(const ImportedBundle& imported,
                                                             const ReleasePlan& plan, const PrivateKey& key,
                                                             ProgressUpdater& line,
                                                             const StepChange& onStep) {
    BinaryPreparationService::Request request{
        .importedBundle = imported,
        .privateKey = key,
        .packageFormat = plan.packageFormat,
        .notarizationPolicy = plan.notarizationPolicy,
        .exportSigning = plan.exportSigning,
        .onStepChange = onStep ? onStep : [&line](ReleaseState::Step step) { line.update(text(step)); },
        .onProgress = [&line](std::uint64_t done, std::uint64_t total) { line.progress(done, total); },
        .notarization = {.onProgress = [&line](const std::string& text) { line.update(text); }}};
    try {
        return prepare(request);
    } catch (const ArchiveExportError& error) {
        if (!std::holds_alternative<ArchiveExportError::ProvisioningProfileRequired>(error.which))
            throw;
        TemporaryPath abandoned(error.exportFolder);
        request.exportSigning =
            escalatedExportSigning(plan.exportSigning, credentials.resolveNotarizationCredentials());
        if (!request.exportSigning) {
            abandoned.release(); // the failure names it
            throw;
        }
    }
    line.update("Entitlements require a provisioning profile; retrying export with App Store Connect API-key "
                "provisioning");
    return prepare(request);
}

PreparedBinary ReleasePreparation::prepare(const BinaryPreparationService::Request& request) {
    const auto prepared = preparation.prepareBinary(request);
    return {.fileURL = prepared.fileURL,
            .bundleInfo = request.importedBundle.bundleInfo(),
            .signature = encodeBase64(prepared.signature),
            .shouldCleanup = prepared.shouldCleanup};
}

std::optional<Signing> escalatedExportSigning(const std::optional<Signing>& after,
                                              const std::optional<NotarizationCredentials>& credentials) {
    if (!credentials || !hasNoProfiles(after))
        return std::nullopt;
    auto key = authenticationKey(*credentials);
    if (!key)
        return std::nullopt;
    return Signing{Signing::Automatic{std::move(key)}};
}

} // namespace halvo
