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

} // namespace

std::string DMGCreationCases::OperationNotPermitted::description() const {
    return "macOS denied permission while building the DMG (Operation not permitted).\n"
           "\n"
           "Common causes:\n"
           "  • The app or terminal running this lacks \"App Management\" permission.\n"
           "    Grant it in System Settings → Privacy & Security → App Management.\n"
           "  • A volume with the same name is already mounted in /Volumes. Eject it in Finder.\n"
           "  • The .app being packaged is currently running. Quit it and retry.";
}

std::string DMGCreationCases::BackgroundAspectMismatch::description() const {
    const auto [width, height] = windowSize;
    return fmt::format(
        "{}, which doesn't match the {}x{} DMG window. Export it at {}x{} (@2x, recommended) or {}x{}. Cropping or letterboxing is a design decision, so Halvo won't do it for you.",
        sizeOf(*this), width, height, 2 * width, 2 * height, width, height);
}

std::string DMGCreationCases::BackgroundTooSmall::description() const {
    const auto [width, height] = windowSize;
    return fmt::format(
        "{}, too small for the {}x{} DMG window. Export it at {}x{} (@2x, recommended) or at least {}x{} px.",
        sizeOf(*this), width, height, 2 * width, 2 * height, width, height);
}

} // namespace halvo
