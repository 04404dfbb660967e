#pragma once

#include <HalvoDMG/Background.h>
#include <HalvoDMG/DMGConfiguration.h>
#include <Platform/Platform.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>

namespace halvo {

/// What a disk image is made of. All of it was checked.
struct ImageContents {
    std::filesystem::path app{};
    std::string appName{}; ///< with its extension
    std::string volumeName{};
    const DMGConfiguration& configuration;
    const Background& background;
};

/// Makes the image file. Nothing else is left, however that ends.
class ImageBuilder {
public:
    /// Bytes of the work under way, of how many; zero for a total that is not known, and for both when none
    /// are counted. It starts anew with each of the long steps. Called from other threads too.
    using Progress = std::function<void(std::uint64_t done, std::uint64_t total)>;

    virtual ~ImageBuilder() = default;
    /// Throws DMGCreationError (`OutputAlreadyExists` for a file that came meanwhile), DiskImageError,
    /// ProcessError for a tool that cannot be started, CancelledError and FileError.
    virtual void build(const ImageContents& contents, const std::filesystem::path& output,
                       const Progress& progress) = 0;
};

/// Has hdiutil make the image, step by step: where Apple's tools are.
std::unique_ptr<ImageBuilder> makeToolImageBuilder(ProcessRunner& processes, const VolumeFacts& volumes,
                                                   Clock& clock, std::filesystem::path temporaryDirectory,
                                                   std::stop_token cancellation);
/// Writes the image straight from the app's files. `SOURCE_DATE_EPOCH` in the environment is the latest date
/// that it holds; equal apps then give equal images.
std::unique_ptr<ImageBuilder> makeDirectImageBuilder(const Clock& clock, const Environment& environment,
                                                     std::stop_token cancellation);
/// The one that fits this machine.
std::unique_ptr<ImageBuilder> makeImageBuilder(const Platform& platform);

} // namespace halvo
