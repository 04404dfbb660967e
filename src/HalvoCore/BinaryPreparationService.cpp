#include <HalvoCore/BinaryPreparationService.h>

#include <HalvoCore/TemporaryArtifact.h>

#include <Models/ReleaseSettings.h>
#include <Platform/Files.h>

namespace halvo {
namespace {

using Step = ReleaseState::Step;

void report(const BinaryPreparationService::Request& request, Step step) {
    if (request.onStepChange)
        request.onStepChange(step);
}

/// Removes a temporary artefact unless it reaches the caller.
class ArtifactGuard {
public:
    explicit ArtifactGuard(const URL& file) : file(file) {}
    ArtifactGuard(const ArtifactGuard&) = delete;
    ArtifactGuard& operator=(const ArtifactGuard&) = delete;
    ~ArtifactGuard() {
        if (armed)
            removeTemporaryArtifact(file);
    }
    void release() { armed = false; }

private:
    const URL& file;
    bool armed = true;
};

/// An image is made beside its app. One in an export folder, which goes, gets a folder of its own beside
/// that.
URL movedOutOf(const std::filesystem::path& exportFolder, const URL& image) {
    const std::filesystem::path file = image.filePath();
    if (file.parent_path() != exportFolder)
        return image;
    TemporaryDirectory own(exportFolder.parent_path(), "");
    const std::filesystem::path place = own.path() / file.filename();
    std::error_code error;
    std::filesystem::rename(file, place, error);
    if (error)
        throw FileError("move", file, error.value());
    own.release();
    return URL::file(place);
}

} // namespace

BinaryPreparationService::Prepared BinaryPreparationService::prepareBinary(const Request& request) {
    const Artifact artifact = makeArtifact(request);
    ArtifactGuard guard(artifact.fileURL);
    if (!artifact.shouldCleanup)
        guard.release();
    else if (request.packageFormat.isDMG())
        notarize(artifact.fileURL, request);

    report(request, Step::signing);
    const MappedFile file(artifact.fileURL.filePath());
    const auto signature = request.privateKey.signature(file.bytes(), cancellation, request.onProgress);
    guard.release();
    return {artifact.fileURL, artifact.shouldCleanup, signature};
}

BinaryPreparationService::Artifact BinaryPreparationService::makeArtifact(const Request& request) {
    const auto* dmg = std::get_if<PackageFormat::DMG>(&request.packageFormat.value);
    const auto& bundle = request.importedBundle.value;
    if (const auto* image = std::get_if<ImportedBundle::DMG>(&bundle)) {
        notarize(image->sourceURL, request);
        return {image->sourceURL, false};
    }
    if (const auto* zip = std::get_if<ImportedBundle::ZIP>(&bundle))
        return {zip->sourceURL, false};
    if (const auto* archived = std::get_if<ImportedBundle::ArchivedApp>(&bundle)) {
        if (dmg == nullptr)
            throw HalvoError(HalvoError::ArchivedAppRequiresDMG());
        report(request, Step::exporting);
        const URL app =
            tools.exportArchive(archived->archiveURL, dmg->codesignIdentity.teamID, request.exportSigning);
        const TemporaryPath exportFolder(app.filePath().parent_path());
        tools.assertDistributable(app);
        return {movedOutOf(exportFolder.path(), buildDMG(app, *dmg, request)), true};
    }
    const URL& app = request.importedBundle.bundleInfo().url;
    if (dmg == nullptr) {
        tools.assertDistributable(app);
        return {zipApp(app, request), true};
    }
    if (!tools.isSignedForDistribution(app)) {
        report(request, Step::codesigningApp);
        tools.sign(app, dmg->codesignIdentity);
    }
    tools.assertDistributable(app);
    return {buildDMG(app, *dmg, request), true};
}

URL BinaryPreparationService::zipApp(const URL& appURL, const Request& request) {
    report(request, Step::zipping);
    return zipService.zip(appURL, request.onProgress);
}

URL BinaryPreparationService::buildDMG(const URL& appURL, const PackageFormat::DMG& format,
                                       const Request& request) {
    report(request, Step::creatingDMG);
    return tools.createDMG(appURL, request.importedBundle.bundleInfo().name, format, request.onProgress);
}

void BinaryPreparationService::notarize(const URL& file, const Request& request) {
    const NotarizationCredentials* credentials = request.notarizationPolicy.credentials();
    if (credentials == nullptr)
        return;
    report(request, Step::notarizing);
    tools.notarize(file, *credentials);
}

NotarizationAssessment
BinaryPreparationService::assessNotarization(const ImportedBundle& importedBundle,
                                             const PackageFormat& packageFormat,
                                             const NotarizationPolicy& notarizationPolicy) {
    const auto& bundle = importedBundle.value;
    const bool isZIP = std::holds_alternative<ImportedBundle::ZIP>(bundle);
    const bool isDMG = std::holds_alternative<ImportedBundle::DMG>(bundle);
    if (isDMG || (!isZIP && packageFormat.isDMG()))
        return notarizationPolicy.credentials() ? NotarizationAssessment::willNotarize
                                                : NotarizationAssessment::notNotarized;
    if (std::holds_alternative<ImportedBundle::ArchivedApp>(bundle))
        return NotarizationAssessment::notNotarized;
    try {
        return tools.isNotarized(importedBundle.bundleInfo().url) ? NotarizationAssessment::alreadyNotarized
                                                                  : NotarizationAssessment::notNotarized;
    } catch (const std::exception&) {
        return NotarizationAssessment::notNotarized; // a check that cannot be made promises nothing
    }
}

} // namespace halvo
