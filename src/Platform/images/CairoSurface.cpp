#include "CairoSurface.h"

#include <algorithm>
#include <cstring>
#include <new>

namespace halvo {
namespace {

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

} // namespace

CairoSurface makeSurface(unsigned width, unsigned height) {
    CairoSurface surface(
        cairo_image_surface_create(CAIRO_FORMAT_ARGB32, static_cast<int>(width), static_cast<int>(height)),
        cairo_surface_destroy);
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS)
        throw std::bad_alloc();
    return surface;
}

CairoContext makeContext(const CairoSurface& surface) {
    return CairoContext(cairo_create(surface.get()), cairo_destroy);
}

Picture toPicture(const CairoSurface& surface, const CairoContext& drawing) {
    if (cairo_status(drawing.get()) != CAIRO_STATUS_SUCCESS)
        throw std::bad_alloc();
    cairo_surface_flush(surface.get());
    const auto width = static_cast<unsigned>(cairo_image_surface_get_width(surface.get()));
    const auto height = static_cast<unsigned>(cairo_image_surface_get_height(surface.get()));
    const std::uint8_t* row = cairo_image_surface_get_data(surface.get());
    Picture picture{.width = width, .height = height, .pixels = Bytes(std::size_t{4} * width * height)};
    std::uint8_t* target = picture.pixels.data();
    for (unsigned y = 0; y < height; ++y, row += cairo_image_surface_get_stride(surface.get()))
        for (unsigned x = 0; x < width; ++x, target += 4) {
            std::uint32_t pixel = 0;
            std::memcpy(&pixel, row + std::size_t{4} * x, sizeof pixel);
            storeStraight(pixel, target);
        }
    return picture;
}

} // namespace halvo
