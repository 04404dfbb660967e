#pragma once

#include <ImageFormats/Picture.h>

#include <memory>

#include <cairo.h>

namespace halvo {

using CairoSurface = std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t*)>;
using CairoContext = std::unique_ptr<cairo_t, void (*)(cairo_t*)>;

/// Transparent, premultiplied ARGB. Throws std::bad_alloc.
CairoSurface makeSurface(unsigned width, unsigned height);
CairoContext makeContext(const CairoSurface& surface);

/// What was drawn. Throws std::bad_alloc when the drawing ran out of memory.
Picture toPicture(const CairoSurface& surface, const CairoContext& drawing);

} // namespace halvo
