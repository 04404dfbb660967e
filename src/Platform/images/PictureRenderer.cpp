#include <ImageFormats/PictureRenderer.h>

#include <ImageFormats/IconFile.h>
#include <ImageFormats/PNGPicture.h>

#include "CairoSurface.h"

#include <algorithm>
#include <cstring>

namespace halvo {
namespace {

/// An icon file with more damaged pictures than this is given up, so that it cannot keep the program busy.
constexpr std::size_t mostAttempts = 16;

/// A pixel of cairo: one 32-bit integer, alpha on top, colours multiplied by alpha.
std::uint32_t premultiplied(const std::uint8_t* rgba) {
    const auto scaled = [alpha = rgba[3]](std::uint32_t value) { return (value * alpha + 127) / 255; };
    return std::uint32_t{rgba[3]} << 24 | scaled(rgba[0]) << 16 | scaled(rgba[1]) << 8 | scaled(rgba[2]);
}

CairoSurface toSurface(const Picture& picture) {
    CairoSurface surface = makeSurface(picture.width, picture.height);
    cairo_surface_flush(surface.get());
    std::uint8_t* row = cairo_image_surface_get_data(surface.get());
    const std::uint8_t* source = picture.pixels.data();
    for (unsigned y = 0; y < picture.height; ++y, row += cairo_image_surface_get_stride(surface.get()))
        for (unsigned x = 0; x < picture.width; ++x, source += 4) {
            const std::uint32_t pixel = premultiplied(source);
            std::memcpy(row + std::size_t{4} * x, &pixel, sizeof pixel);
        }
    cairo_surface_mark_dirty(surface.get());
    return surface;
}

/// The pictures of an image of either format, best first.
std::vector<IconPicture> rankedPictures(ByteView image, unsigned size) {
    std::vector<IconPicture> pictures = listIconPictures(image);
    if (const auto png = readPNGSize(image))
        pictures.push_back({.width = png->width, .height = png->height, .data = image});
    const auto side = [](const IconPicture& picture) { return std::max(picture.width, picture.height); };
    std::ranges::stable_sort(pictures, [&](const IconPicture& left, const IconPicture& right) {
        const bool leftIsEnough = side(left) >= size;
        const bool rightIsEnough = side(right) >= size;
        if (leftIsEnough != rightIsEnough)
            return leftIsEnough;
        return leftIsEnough ? side(left) < side(right) : side(left) > side(right);
    });
    return pictures;
}

} // namespace

Picture fitPicture(const Picture& picture, unsigned size) {
    if (picture.width == size && picture.height == size)
        return picture;
    const CairoSurface source = toSurface(picture);
    const CairoSurface target = makeSurface(size, size);
    const double scale = static_cast<double>(size) / std::max(picture.width, picture.height);
    const CairoContext context = makeContext(target);
    cairo_translate(context.get(), (size - picture.width * scale) / 2, (size - picture.height * scale) / 2);
    cairo_scale(context.get(), scale, scale);
    cairo_set_source_surface(context.get(), source.get(), 0, 0);
    // Without padding, the border pixels would be mixed with the nothing around the picture.
    cairo_pattern_set_extend(cairo_get_source(context.get()), CAIRO_EXTEND_PAD);
    cairo_pattern_set_filter(cairo_get_source(context.get()), CAIRO_FILTER_BEST);
    cairo_rectangle(context.get(), 0, 0, picture.width, picture.height);
    cairo_fill(context.get());
    return toPicture(target, context);
}

std::optional<Bytes> renderAsPNG(ByteView image, unsigned size) {
    if (size == 0 || size > longestPictureSide)
        return std::nullopt;
    std::vector<IconPicture> pictures = rankedPictures(image, size);
    pictures.resize(std::min(pictures.size(), mostAttempts));
    for (const IconPicture& candidate : pictures)
        if (const auto picture = decodeIconPicture(candidate))
            return encodePNG(fitPicture(*picture, size));
    return std::nullopt;
}

} // namespace halvo
