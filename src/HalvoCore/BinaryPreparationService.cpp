#include <HalvoCore/BinaryPreparationService.h>

#include <Base/Base64.h>
#include <Models/ReleaseSettings.h>
#include <Platform/Files.h>

namespace halvo {
namespace {

using Step = ReleaseState::Step;

void report(const BinaryPreparationService::Request& request, Step step) {
    if (request.onStepChange)
        request.onStepChange(step);
}

/// The key that installed copies of the app check updates with; the signing key's own half where the app
/// names none.
PublicKey verifyingKey(const BinaryPreparationService::Request& request) {
    const auto& named = request.importedBundle.bundleInfo().sparklePublicEDKey;
    const auto bytes = named ? decodeBase64(*named, Base64Reading::ignoringWhitespace) : std::nullopt;
    return bytes && bytes->size() == std::tuple_size<PublicKey::Raw>() ? PublicKey(*bytes)
                                                                       : request.privateKey.publicKey();
}

} // namespace

PreparedBinary BinaryPreparationService::prepareBinary(const Request& request) {
    PreparedBinary prepared = makeArtifact(request);
    if (prepared.isOwn() && request.packageFormat.isDMG())
        notarize(URL::file(prepared.file()), request);

    report(request, Step::signing);
    const MappedFile file(prepared.file());
    const auto signature = request.privateKey.signature(file.bytes(), cancellation, request.onProgress);
    if (!verifyingKey(request).isValidSignature(signature, file.bytes()))
        throw CodedFailure(
            "sparkle_key_mismatch",
            "The signature that was just made does not verify with the app's public key. Nothing was "
            "uploaded.");
    prepared.signature = encodeBase64(signature);
    return prepared;
}

PreparedBinary BinaryPreparationService::makeArtifact(const Request& request) {
    const auto* dmg = std::get_if<PackageFormat::DMG>(&request.packageFormat.value);
    const auto& bundle = request.importedBundle.value;
    if (const auto* image = std::get_if<ImportedBundle::DMG>(&bundle)) {
        notarize(image->sourceURL, request);
        return PreparedBinary::ofUser(image->sourceURL.filePath());
    }
    if (const auto* zip = std::get_if<ImportedBundle::ZIP>(&bundle))
        return PreparedBinary::ofUser(zip->sourceURL.filePath());
    if (const auto* archived = std::get_if<ImportedBundle::ArchivedApp>(&bundle)) {
        if (dmg == nullptr)
            throw HalvoError(HalvoError::ArchivedAppRequiresDMG());
        report(request, Step::exporting);
        const URL app =
            tools.exportArchive(archived->archiveURL, dmg->codesignIdentity.teamID, request.exportSigning);
        const TemporaryPath exportFolder(app.filePath().parent_path());
        tools.assertDistributable(app);
        return buildDMG(app, *dmg, request);
    }
    const URL& app = request.importedBundle.bundleInfo().url;
    if (dmg == nullptr) {
        tools.assertDistributable(app);
        return zipApp(app, request);
    }
    if (!tools.isSignedForDistribution(app)) {
        report(request, Step::codesigningApp);
        tools.sign(app, dmg->codesignIdentity);
    }
    tools.assertDistributable(app);
    return buildDMG(app, *dmg, request);
}

PreparedBinary BinaryPreparationService::zipApp(const URL& appURL, const Request& request) {
    report(request, Step::zipping);
    return PreparedBinary::made(zipService.zip(appURL, request.onProgress).filePath());
}

PreparedBinary BinaryPreparationService::buildDMG(const URL& appURL, const PackageFormat::DMG& format,
                                                  const Request& request) {
    report(request, Step::creatingDMG);
    const std::string& name = request.importedBundle.bundleInfo().name;
    return PreparedBinary::made(tools.createDMG(appURL, name, format, request.onProgress).filePath());
}

void BinaryPreparationService::notarize(const URL& file, const Request& request) {
    const NotarizationCredentials* credentials = request.notarizationPolicy.credentials();
    if (credentials == nullptr)
        return;
    report(request, Step::notarizing);
    tools.notarize(file, *credentials, request.notarization);
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
