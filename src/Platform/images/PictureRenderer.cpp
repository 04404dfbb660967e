#include <ImageFormats/PictureRenderer.h>

#include <ImageFormats/IconFile.h>
#include <ImageFormats/PNGPicture.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>

#include <cairo.h>

namespace halvo {
namespace {

/// An icon file with more damaged pictures than this is given up, so that it cannot keep the program busy.
constexpr std::size_t mostAttempts = 16;

using Surface = std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t*)>;

Surface makeSurface(unsigned width, unsigned height) {
    Surface surface(
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(width), static_cast<int>(height)),
        cairo_surface_destroy);
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS)
        throw std::bad_alloc();
    return surface;
}

/// A pixel of cairo: one 32-bit integer, alpha on top, colours multiplied by alpha.
std::uint32_t premultiplied(const std::uint8_t* rgba) {
    const auto scaled = [alpha = rgba[3]](std::uint32_t value) { return (value * alpha + 127) / 255; };
    return std::uint32_t{rgba[3]} << 24 | scaled(rgba[0]) << 16 | scaled(rgba[1]) << 8 | scaled(rgba[2]);
}

void storeStraight(std::uint32_t pixel, std::uint8_t* rgba) {
    const std::uint32_t alpha = pixel >> 24;
    const auto straight = [alpha](std::uint32_t value) {
        const std::uint32_t full = alpha == 0 ? 0 : ((value & 0xFF) * 255 + alpha / 2) / alpha;
        return static_cast<std::uint8_t>(std::min(full, 255u));
    };
    rgba[0] = straight(pixel >> 16);
    rgba[1] = straight(pixel >> 8);
    rgba[2] = straight(pixel);
    rgba[3] = static_cast<std::uint8_t>(alpha);
}

Surface toSurface(const Picture& picture) {
    Surface surface = makeSurface(picture.width, picture.height);
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

Picture toPicture(const Surface& surface, unsigned size) {
    cairo_surface_flush(surface.get());
    const std::uint8_t* row = cairo_image_surface_get_data(surface.get());
    Picture picture{.width = size, .height = size, .pixels = Bytes(std::size_t{4} * size * size)};
    std::uint8_t* target = picture.pixels.data();
    for (unsigned y = 0; y < size; ++y, row += cairo_image_surface_get_stride(surface.get()))
        for (unsigned x = 0; x < size; ++x, target += 4) {
            std::uint32_t pixel = 0;
            std::memcpy(&pixel, row + std::size_t{4} * x, sizeof pixel);
            storeStraight(pixel, target);
        }
    return picture;
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
    const Surface source = toSurface(picture);
    const Surface target = makeSurface(size, size);
    const double scale = static_cast<double>(size) / std::max(picture.width, picture.height);
    const std::unique_ptr<cairo_t, void (*)(cairo_t*)> context(cairo_create(target.get()), cairo_destroy);
    cairo_translate(context.get(), (size - picture.width * scale) / 2, (size - picture.height * scale) / 2);
    cairo_scale(context.get(), scale, scale);
    cairo_set_source_surface(context.get(), source.get(), 0, 0);
    // Without padding, the border pixels would be mixed with the nothing around the picture.
    cairo_pattern_set_extend(cairo_get_source(context.get()), CAIRO_EXTEND_PAD);
    cairo_pattern_set_filter(cairo_get_source(context.get()), CAIRO_FILTER_BEST);
    cairo_rectangle(context.get(), 0, 0, picture.width, picture.height);
    cairo_fill(context.get());
    if (cairo_status(context.get()) != CAIRO_STATUS_SUCCESS)
        throw std::bad_alloc();
    return toPicture(target, size);
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
