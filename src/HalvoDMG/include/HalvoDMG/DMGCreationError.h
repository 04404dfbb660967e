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
    struct AppNotFound {
        URL url{};
    };
    struct InvalidApp {
        std::string reason{};
    };
    struct CommandFailed {
        std::string command{};
        int exitCode = 0; ///< of a tool that a signal ended: 128 and its number
        std::string output{};
    };
    struct MountFailed {
        std::string reason{};
    };
    /// The system refused a tool something that only its user can allow.
    struct OperationNotPermitted {
        std::string command{};
        std::string output{};
    };
    struct OutputAlreadyExists {
        URL url{};
    };
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
    using Case =
        std::variant<AppNotFound, InvalidApp, CommandFailed, MountFailed, OperationNotPermitted,
                     OutputAlreadyExists, AliasBuildFailed, DSStoreWriteFailed, InvalidBackgroundImage,
                     BackgroundAspectMismatch, BackgroundTooSmall, BackgroundNormalizationFailed>;

    explicit DMGCreationError(Case problem) : Failure(describe(problem)), which(std::move(problem)) {}

    Case which;

private:
    static std::string describe(const Case& which);
};

} // namespace halvo
