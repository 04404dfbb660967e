#include <HalvoDMG/DMGCreationError.h>

#include <fmt/format.h>

namespace halvo {
namespace {

/// "The background image at /bg.png is 500x400 px": what both complaints about its size start with.
template<typename Problem>
std::string sizeOf(const Problem& problem) {
    return fmt::format("The background image at {} is {}x{} px", problem.url.path(), problem.pixelSize.width,
                       problem.pixelSize.height);
}

struct Sentence {
    std::string operator()(const DMGCreationError::AppNotFound& failure) const {
        return "No application bundle found at " + failure.url.path() + ". Pass the path of an .app bundle.";
    }
    std::string operator()(const DMGCreationError::InvalidApp& failure) const {
        return "Invalid application bundle: " + failure.reason;
    }
    std::string operator()(const DMGCreationError::CommandFailed& failure) const {
        return fmt::format("{} failed (exit code {}): {}", failure.command, failure.exitCode, failure.output);
    }
    std::string operator()(const DMGCreationError::MountFailed& failure) const {
        return "Failed to mount DMG: " + failure.reason;
    }
    std::string operator()(const DMGCreationError::OperationNotPermitted&) const {
        return "macOS denied permission while building the DMG (Operation not permitted).\n"
               "\n"
               "Common causes:\n"
               "  • The app or terminal running this lacks \"App Management\" permission.\n"
               "    Grant it in System Settings → Privacy & Security → App Management.\n"
               "  • A volume with the same name is already mounted in /Volumes. Eject it in Finder.\n"
               "  • The .app being packaged is currently running. Quit it and retry.";
    }
    std::string operator()(const DMGCreationError::OutputAlreadyExists& failure) const {
        return "Output file already exists at " + failure.url.path();
    }
    std::string operator()(const DMGCreationError::AliasBuildFailed& failure) const {
        return "Failed to build Carbon alias data: " + failure.reason;
    }
    std::string operator()(const DMGCreationError::DSStoreWriteFailed& failure) const {
        return "Failed to write .DS_Store: " + failure.reason;
    }
    std::string operator()(const DMGCreationError::InvalidBackgroundImage& failure) const {
        return "Cannot read background image at " + failure.url.path() +
               ". Provide a PNG, JPG, or TIFF file.";
    }
    std::string operator()(const DMGCreationError::BackgroundAspectMismatch& failure) const {
        const auto [width, height] = failure.windowSize;
        return fmt::format(
            "{}, which doesn't match the {}x{} DMG window. Export it at {}x{} (@2x, recommended) "
            "or {}x{}. Cropping or letterboxing is a design decision, so Halvo won't do it for you.",
            sizeOf(failure), width, height, 2 * width, 2 * height, width, height);
    }
    std::string operator()(const DMGCreationError::BackgroundTooSmall& failure) const {
        const auto [width, height] = failure.windowSize;
        return fmt::format(
            "{}, too small for the {}x{} DMG window. Export it at {}x{} (@2x, recommended) or at "
            "least {}x{} px.",
            sizeOf(failure), width, height, 2 * width, 2 * height, width, height);
    }
    std::string operator()(const DMGCreationError::BackgroundNormalizationFailed& failure) const {
        return "Could not prepare the background image at " + failure.url.path() +
               ". Export it as PNG and try again.";
    }
};

} // namespace

std::string DMGCreationError::describe(const Case& which) { return std::visit(Sentence{}, which); }

} // namespace halvo
