#include <HalvoCore/ReleaseController.h>

#include <HalvoCore/ReleasePolicies.h>
#include <HalvoCore/TemporaryArtifact.h>

#include <Base/Base64.h>
#include <HalvoNotarization/Codesigner.h>

#include <algorithm>

namespace halvo {
namespace {

PackageFormat packageFormat(const std::optional<ReleaseSettings>& settings) {
    if (!settings || !settings->dmgEnabled)
        return {};
    const auto background = DMGBackgroundPolicy::resolve(std::nullopt, settings->dmgBackgroundURL, true);
    return {PackageFormat::DMG{.codesignIdentity = settings->codesignIdentity,
                               .watermark = settings->showWatermark.value_or(false),
                               .backgroundImage = background.custom}};
}

NotarizationPolicy notarizationPolicy(const std::optional<ReleaseSettings>& settings) {
    return settings ? settings->notarizationPolicy() : NotarizationPolicy::skip();
}

} // namespace

void validate(const ReleaseSettings& settings, DistributionTools& tools) {
    if (!settings.dmgEnabled)
        return;
    const std::vector<CodesignIdentity> identities = tools.availableIdentities();
    const bool known =
        std::any_of(identities.begin(), identities.end(), [&](const CodesignIdentity& identity) {
            return identity.hash == settings.codesignIdentity.hash;
        });
    if (!known)
        throw CodesigningError(CodesigningError::IdentityNotFound{settings.codesignIdentity.name});
}

UploadResult ReleaseController::publish(const ImportedBundle& importedBundle,
                                        const std::optional<ReleaseSettings>& settings) {
    if (settings)
        validate(*settings, tools);
    const PreparedBinary prepared = prepare(importedBundle, settings);
    const ReleaseConfiguration configuration{.releaseNotes = releaseNotes,
                                             .channel =
                                                 isBeta ? std::optional<std::string>("beta") : std::nullopt,
                                             .isPhasedRollout = isPhasedRollout,
                                             .isCritical = isCritical,
                                             .isPublished = isPublished};
    try {
        UploadResult result = releasePublisher.publish(prepared, configuration,
                                                       [this](ReleaseState::Step step) { show(step); });
        current.value = ReleaseState::Published{result.release};
        return result;
    } catch (...) {
        current = releasePublisher.state();
        const bool canBeTriedAgain = std::holds_alternative<ReleaseState::UploadFailed>(current.value);
        if (prepared.shouldCleanup && !canBeTriedAgain)
            removeTemporaryArtifact(prepared.fileURL);
        throw;
    }
}

PreparedBinary ReleaseController::prepare(const ImportedBundle& importedBundle,
                                          const std::optional<ReleaseSettings>& settings) {
    show(ReleaseState::Step::preflight);
    try {
        releasePublisher.preflightCheck(importedBundle.bundleInfo());
        const auto prepared = binaryPreparationService.prepareBinary(
            {.importedBundle = importedBundle,
             .privateKey = releaseKey,
             .packageFormat = packageFormat(settings),
             .notarizationPolicy = notarizationPolicy(settings),
             .onStepChange = [this](ReleaseState::Step step) { show(step); }});
        return {.fileURL = prepared.fileURL,
                .bundleInfo = importedBundle.bundleInfo(),
                .signature = encodeBase64(prepared.signature),
                .shouldCleanup = prepared.shouldCleanup};
    } catch (...) {
        current.value = ReleaseState::Idle();
        throw;
    }
}

void ReleaseController::retryUpload() {
    releasePublisher.retryUpload();
    current = releasePublisher.state();
}

void ReleaseController::cancelUpload() {
    releasePublisher.cancelUpload();
    current = releasePublisher.state();
}

} // namespace halvo
