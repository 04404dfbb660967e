#include <HalvoDMG/Background.h>

#include "ImageView.h"
#include "TemplateView.h"

#include <HalvoDMG/DMGCreationError.h>
#include <Platform/Files.h>

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

namespace halvo {
namespace {

constexpr double pointsPerInch = 72;

template<typename Case, typename... Details>
[[noreturn]] void fail(const URL& url, Details... details) {
    throw DMGCreationError(Case{url, details...});
}

/// A density that no picture can mean counts like none.
double usableDensity(double density) {
    constexpr double least = 1, most = 10000;
    return density >= least && density <= most ? density : pointsPerInch;
}

bool isShownAt(std::int64_t pixels, double density, std::int64_t points) {
    return std::abs(static_cast<double>(pixels) * pointsPerInch / usableDensity(density) -
                    static_cast<double>(points)) < 1;
}

double densityFor(std::int64_t pixels, std::int64_t points) {
    return static_cast<double>(pixels) * pointsPerInch / static_cast<double>(points);
}

const char* fileExtension(ImageProperties::Type type) {
    switch (type) {
    case ImageProperties::Type::png: return "png";
    case ImageProperties::Type::jpeg: return "jpeg";
    case ImageProperties::Type::tiff: return "tiff";
    }
    return "png";
}

Bytes readPicture(const URL& url) {
    try {
        const MappedFile file(url.filePath());
        return copyBytes(viewText(file.bytes()));
    } catch (const FileError&) {
        fail<DMGCreationError::InvalidBackgroundImage>(url);
    }
}

PixelSize checkedSize(const URL& url, const std::optional<ImageProperties>& properties, PointSize window) {
    if (!properties || properties->pixelWidth == 0 || properties->pixelHeight == 0)
        fail<DMGCreationError::InvalidBackgroundImage>(url);
    const PixelSize size{properties->pixelWidth, properties->pixelHeight};
    const double wanted = static_cast<double>(window.width) / static_cast<double>(window.height);
    const double actual = static_cast<double>(size.width) / static_cast<double>(size.height);
    constexpr double tolerance = 0.005;
    if (std::abs(actual - wanted) > wanted * tolerance)
        fail<DMGCreationError::BackgroundAspectMismatch>(url, size, window);
    if (size.width < window.width || size.height < window.height)
        fail<DMGCreationError::BackgroundTooSmall>(url, size, window);
    return size;
}

std::optional<std::string> retinaWarning(PixelSize size, PointSize window) {
    if (size.width >= 2 * window.width)
        return std::nullopt;
    return fmt::format(
        "The background is {}x{} px and will look soft on Retina displays. Export at {}x{} for full sharpness.",
        size.width, size.height, 2 * window.width, 2 * window.height);
}

/// With two pixels for each point, which a Retina display shows, and DPI tags of 144.
Bytes render(const Drawing& drawing, PointSize window, ImageServices& images) {
    constexpr double retinaScale = 2;
    if (auto png = images.renderPNG(drawing, static_cast<double>(window.width),
                                    static_cast<double>(window.height), retinaScale))
        return *std::move(png);
    throw ImageCreatorError(ImageCreatorError::FailedToCreateImage());
}

/// As one line of text.
std::string shownName(std::string name) {
    std::ranges::replace_if(
        name, [](unsigned char letter) { return letter < 0x20 || letter == 0x7F; }, ' ');
    return name;
}

} // namespace

Background generatedBackground(PointSize window, const std::optional<std::string>& appName, bool watermark,
                               ImageServices& images) {
    ImageView view{.width = static_cast<double>(window.width),
                   .height = static_cast<double>(window.height),
                   .watermark = watermark};
    if (appName && images.canDraw(shownName(*appName)))
        view.name = shownName(*appName);
    return {.picture = render(view.draw(), window, images)};
}

Background fittedBackground(const URL& url, PointSize window, ImageServices& images) {
    Bytes picture = readPicture(url);
    const auto properties = images.readProperties(picture);
    const PixelSize size = checkedSize(url, properties, window);
    Background background{.extension = fileExtension(properties->type),
                          .retinaWarning = retinaWarning(size, window)};
    const PixelDensity density = properties->density;
    if (isShownAt(size.width, density.x, window.width) && isShownAt(size.height, density.y, window.height)) {
        background.picture = std::move(picture);
        return background;
    }
    auto copy = images.withDensity(
        picture, {densityFor(size.width, window.width), densityFor(size.height, window.height)});
    if (!copy)
        fail<DMGCreationError::BackgroundNormalizationFailed>(url);
    background.picture = *std::move(copy);
    return background;
}

Bytes drawBackgroundTemplate(const DMGConfiguration& configuration, ImageServices& images) {
    return render(TemplateView{configuration}.draw(), configuration.windowSize(), images);
}

} // namespace halvo
