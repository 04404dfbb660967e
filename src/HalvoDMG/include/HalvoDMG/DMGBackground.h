#pragma once

#include <HalvoDMG/NormalizedBackground.h>
#include <Platform/ImageServices.h>

#include <filesystem>
#include <optional>
#include <string>

namespace halvo {

/// The picture behind the window of one disk image: one of the user's that was made to fit, or a generated
/// one. A file that was made for this goes with the object.
class DMGBackground {
public:
    /// Throws DMGCreationError, as DMGBackgroundNormalizer does.
    static DMGBackground fitted(const URL& picture, PointSize window, ImageServices& images,
                                const std::filesystem::path& temporaryDirectory);
    /// Throws what DMGBackgroundImage throws.
    static DMGBackground generated(PointSize window, const std::optional<std::string>& appName,
                                   bool watermark, ImageServices& images,
                                   const std::filesystem::path& temporaryDirectory);
    DMGBackground(DMGBackground&& other) noexcept;
    DMGBackground& operator=(DMGBackground&&) = delete;
    DMGBackground(const DMGBackground&) = delete;
    ~DMGBackground();

    const URL& url() const { return picture; }
    /// What to tell the user about a picture that is not sharp on every display.
    const std::optional<std::string>& retinaWarning() const { return warning; }

private:
    DMGBackground(URL picture, bool temporary, std::optional<std::string> warning = {});

    URL picture;
    bool temporary;
    std::optional<std::string> warning;
};

} // namespace halvo
