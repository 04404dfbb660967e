#pragma once

#include <Base/Failure.h>
#include <HalvoCore/ReleaseUploader.h>
#include <Models/PreparedBinary.h>
#include <Models/ReleaseState.h>

#include <functional>
#include <optional>
#include <variant>

namespace halvo {

class ReleaseError : public Failure {
public:
    struct MissingSigningKey {
        std::string bundleIdentifier{};
    };
    struct DuplicateVersion {
        std::int64_t bundleVersion = 0;
    };
    struct InProgress {};
    struct InvalidDMGSettings {};
    struct UnsupportedAppType {};
    using Case =
        std::variant<MissingSigningKey, DuplicateVersion, InProgress, InvalidDMGSettings, UnsupportedAppType>;
    explicit ReleaseError(Case problem) : Failure(describe(problem)), which(std::move(problem)) {}
    Case which;

private:
    static std::string describe(const Case& which);
};

/// Told of each step just before its work. May be called from any thread.
using StepChange = std::function<void(ReleaseState::Step)>;

/// The upload phase of one release.
class ReleasePublisher {
public:
    virtual ~ReleasePublisher() = default;
    virtual const ReleaseState& state() const = 0;
    virtual void preflightCheck(const BundleInfo& bundleInfo) = 0;
    virtual UploadResult publish(const PreparedBinary& prepared, const ReleaseConfiguration& configuration,
                                 const StepChange& onStepChange) = 0;
    virtual void cancelUpload() = 0;
    virtual void retryUpload() = 0;
};

/// Publishes once: a failed upload can be tried again with the same file, a finished one is final. The
/// prepared file, when it is a temporary one, is removed after success and kept after a failure.
class DefaultReleasePublisher final : public ReleasePublisher {
public:
    explicit DefaultReleasePublisher(ReleaseUploaderProtocol& uploader) : uploader(uploader) {}

    const ReleaseState& state() const override { return current; }
    void preflightCheck(const BundleInfo& bundleInfo) override { uploader.preflightCheck(bundleInfo); }
    /// Throws ReleaseError `InProgress` unless the state is idle; else what the uploader throws.
    UploadResult publish(const PreparedBinary& prepared, const ReleaseConfiguration& configuration,
                         const StepChange& onStepChange) override;
    /// Back to idle from a failed upload; the temporary file stays. In any other state nothing happens.
    void cancelUpload() override;
    /// After a failed upload only; in any other state nothing happens.
    void retryUpload() override;

private:
    struct UploadContext {
        PreparedBinary preparedBinary{};
        ReleaseConfiguration configuration{};
    };
    UploadResult upload();

    ReleaseUploaderProtocol& uploader;
    std::optional<UploadContext> uploadContext{};
    ReleaseState current{};
};

} // namespace halvo
