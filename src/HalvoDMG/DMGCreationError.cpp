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
