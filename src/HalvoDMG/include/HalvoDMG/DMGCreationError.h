#pragma once

#include <Base/Failure.h>
#include <Base/URL.h>
#include <HalvoDMG/PictureSizes.h>

#include <string>
#include <variant>

namespace halvo {

struct DMGCreationCases {
    struct AppNotFound {
        URL url{};
        std::string description() const {
            return "No application bundle found at " + url.path() + ". Pass the path of an .app bundle.";
        }
    };
    struct InvalidApp {
        std::string reason{};
        std::string description() const { return "Invalid application bundle: " + reason; }
    };
    struct CommandFailed {
        std::string command{};
        int exitCode = 0; ///< of a tool that a signal ended: 128 and its number
        std::string output{};
        std::string description() const {
            return command + " failed (exit code " + std::to_string(exitCode) + "): " + output;
        }
    };
    struct MountFailed {
        std::string reason{};
        std::string description() const { return "Failed to mount DMG: " + reason; }
    };
    /// The system refused a tool something that only its user can allow.
    struct OperationNotPermitted {
        std::string command{};
        std::string output{};
        std::string description() const;
    };
    struct OutputAlreadyExists {
        URL url{};
        std::string description() const { return "Output file already exists at " + url.path(); }
    };
    struct AliasBuildFailed {
        std::string reason{};
        std::string description() const { return "Failed to build Carbon alias data: " + reason; }
    };
    struct DSStoreWriteFailed {
        std::string reason{};
        std::string description() const { return "Failed to write .DS_Store: " + reason; }
    };
    struct InvalidBackgroundImage {
        URL url{};
        std::string description() const {
            return "Cannot read background image at " + url.path() + ". Provide a PNG, JPG, or TIFF file.";
        }
    };
    struct BackgroundAspectMismatch {
        URL url{};
        PixelSize pixelSize{};
        PointSize windowSize{};
        std::string description() const;
    };
    struct BackgroundTooSmall {
        URL url{};
        PixelSize pixelSize{};
        PointSize windowSize{};
        std::string description() const;
    };
    struct BackgroundNormalizationFailed {
        URL url{};
        std::string description() const {
            return "Could not prepare the background image at " + url.path() +
                   ". Export it as PNG and try again.";
        }
    };
    using Case =
        std::variant<AppNotFound, InvalidApp, CommandFailed, MountFailed, OperationNotPermitted,
                     OutputAlreadyExists, AliasBuildFailed, DSStoreWriteFailed, InvalidBackgroundImage,
                     BackgroundAspectMismatch, BackgroundTooSmall, BackgroundNormalizationFailed>;
};
/// Why a disk image could not be made.
using DMGCreationError = FailureOf<DMGCreationCases>;

} // namespace halvo
