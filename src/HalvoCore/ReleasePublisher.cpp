#include <HalvoCore/ReleasePublisher.h>

#include <HalvoCore/TemporaryArtifact.h>

namespace halvo {

std::string ReleaseError::describe(const Case& which) {
    struct Describer {
        std::string operator()(const MissingSigningKey& missing) const {
            return "No EdDSA signing key found for " + missing.bundleIdentifier +
                   ". Configure one in `Sparkle` settings.";
        }
        std::string operator()(const DuplicateVersion& duplicate) const {
            return "A release with bundle version " + std::to_string(duplicate.bundleVersion) +
                   " already exists. Increment your bundle version before releasing.";
        }
        std::string operator()(const InProgress&) const { return "Another release is already in progress."; }
        std::string operator()(const InvalidDMGSettings&) const {
            return "DMG creation is enabled but codesigning settings are incomplete. Configure a Codesign "
                   "Identity and "
                   "Notarization Keychain Profile in `Codesigning` settings. You can use `halvo config set "
                   "release` if "
                   "you use the Halvo CLI.";
        }
        std::string operator()(const UnsupportedAppType&) const { return "Unsupported app type."; }
    };
    return std::visit(Describer(), which);
}

UploadResult DefaultReleasePublisher::publish(const PreparedBinary& prepared,
                                              const ReleaseConfiguration& configuration,
                                              const StepChange& onStepChange) {
    if (!std::holds_alternative<ReleaseState::Idle>(current.value))
        throw ReleaseError(ReleaseError::InProgress());
    uploadContext = UploadContext{prepared, configuration};
    if (onStepChange)
        onStepChange(ReleaseState::Step::uploading);
    return upload();
}

UploadResult DefaultReleasePublisher::upload() {
    const UploadContext context = *uploadContext;
    const PreparedBinary& prepared = context.preparedBinary;
    current.value = ReleaseState::Publishing{ReleaseState::Step::uploading};
    try {
        UploadResult result = uploader.upload(prepared.fileURL.filePath(), prepared.bundleInfo,
                                              prepared.signature, context.configuration);
        uploadContext.reset();
        if (prepared.shouldCleanup)
            removeTemporaryArtifact(prepared.fileURL);
        current.value = ReleaseState::Published{result.release};
        return result;
    } catch (...) {
        current.value = ReleaseState::UploadFailed{.uploadURL = prepared.fileURL,
                                                   .releaseID = UUID::random(),
                                                   .shouldCleanup = prepared.shouldCleanup};
        throw;
    }
}

void DefaultReleasePublisher::cancelUpload() {
    if (!std::holds_alternative<ReleaseState::UploadFailed>(current.value))
        return;
    uploadContext.reset();
    current.value = ReleaseState::Idle();
}

void DefaultReleasePublisher::retryUpload() {
    if (std::holds_alternative<ReleaseState::UploadFailed>(current.value) && uploadContext)
        upload();
}

} // namespace halvo
