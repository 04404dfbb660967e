#include <HalvoDMG/DMGBackground.h>

#include <HalvoDMG/DMGBackgroundImage.h>
#include <HalvoDMG/DMGBackgroundNormalizer.h>
#include <Platform/Files.h>

#include <utility>

namespace halvo {

DMGBackground DMGBackground::fitted(const URL& picture, PointSize window, ImageServices& images,
                                    const std::filesystem::path& temporaryDirectory) {
    const NormalizedBackground background =
        DMGBackgroundNormalizer(images, temporaryDirectory).normalize(picture, window);
    return {background.url(), background.isDerived(), background.retinaWarning(window)};
}

DMGBackground DMGBackground::generated(PointSize window, const std::optional<std::string>& appName,
                                       bool watermark, ImageServices& images,
                                       const std::filesystem::path& temporaryDirectory) {
    const DMGBackgroundImage generator(images, temporaryDirectory);
    return {generator.create(static_cast<double>(window.width), static_cast<double>(window.height), appName,
                             watermark),
            true};
}

DMGBackground::DMGBackground(URL picture, bool temporary, std::optional<std::string> warning)
    : picture(std::move(picture)), temporary(temporary), warning(std::move(warning)) {}

DMGBackground::DMGBackground(DMGBackground&& other) noexcept
    : picture(std::move(other.picture)), temporary(std::exchange(other.temporary, false)),
      warning(std::move(other.warning)) {}

DMGBackground::~DMGBackground() {
    if (temporary)
        removeQuietly(picture.filePath());
}

} // namespace halvo
