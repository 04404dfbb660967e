#pragma once

#include <Platform/Drawing.h>

#include <cairo.h>

namespace halvo {

/// Draws the line with the context's scale. Throws Failure when no font is installed.
void drawTextLine(cairo_t* context, const TextLine& line);

} // namespace halvo
