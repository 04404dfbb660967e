#pragma once

#include <Base/Failure.h>
#include <Base/URL.h>
#include <HalvoDMG/PictureSizes.h>

#include <string>
#include <variant>

namespace halvo {

/// Why a disk image could not be made.
class DMGCreationError : public Failure {
public:
    struct AliasBuildFailed {
        std::string reason{};
    };
    struct DSStoreWriteFailed {
        std::string reason{};
    };
    struct InvalidBackgroundImage {
        URL url{};
    };
    struct BackgroundAspectMismatch {
        URL url{};
        PixelSize pixelSize{};
        PointSize windowSize{};
    };
    struct BackgroundTooSmall {
        URL url{};
        PixelSize pixelSize{};
        PointSize windowSize{};
    };
    struct BackgroundNormalizationFailed {
        URL url{};
    };
    using Case = std::variant<AliasBuildFailed, DSStoreWriteFailed, InvalidBackgroundImage,
                              BackgroundAspectMismatch, BackgroundTooSmall, BackgroundNormalizationFailed>;

    explicit DMGCreationError(Case problem) : Failure(describe(problem)), which(std::move(problem)) {}

    Case which;

private:
    static std::string describe(const Case& which);
};

} // namespace halvo
