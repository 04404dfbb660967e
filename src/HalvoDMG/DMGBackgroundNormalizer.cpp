#include <HalvoDMG/DMGBackgroundNormalizer.h>

#include <Base/UUID.h>
#include <Platform/Files.h>

#include <cmath>

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

std::string_view fileExtension(ImageProperties::Type type) {
    switch (type) {
    case ImageProperties::Type::png: return ".png";
    case ImageProperties::Type::jpeg: return ".jpeg";
    case ImageProperties::Type::tiff: return ".tiff";
    }
    return ".png";
}

MappedFile openPicture(const URL& url) {
    try {
        return MappedFile(url.filePath());
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

} // namespace

NormalizedBackground DMGBackgroundNormalizer::normalize(const URL& url, PointSize window) const {
    const MappedFile file = openPicture(url);
    const auto properties = images.readProperties(file.bytes());
    const PixelSize size = checkedSize(url, properties, window);
    const PixelDensity density = properties->density;
    if (isShownAt(size.width, density.x, window.width) && isShownAt(size.height, density.y, window.height))
        return {NormalizedBackground::Original{url, size}};

    const auto copy = images.withDensity(
        file.bytes(), {densityFor(size.width, window.width), densityFor(size.height, window.height)});
    if (!copy)
        fail<DMGCreationError::BackgroundNormalizationFailed>(url);
    const auto path =
        temporaryDirectory / (UUID::random().string() + std::string(fileExtension(properties->type)));
    try {
        writeNewFile(path, *copy, 0644);
    } catch (const FileError&) {
        removeQuietly(path);
        fail<DMGCreationError::BackgroundNormalizationFailed>(url);
    }
    return {NormalizedBackground::Derived{URL::file(path), size}};
}

void DMGBackgroundNormalizer::validate(const URL& url, PointSize window) const {
    const NormalizedBackground background = normalize(url, window);
    if (background.isDerived())
        removeQuietly(background.url().filePath());
}

} // namespace halvo
