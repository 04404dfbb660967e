#pragma once

#include <Base/Bytes.h>
#include <Platform/Drawing.h>

#include <optional>
#include <string_view>

namespace halvo {

/// A PNG of `width` by `height` points with `scale` pixels for each point, and DPI tags of 72 * `scale`.
/// Absent when that is not a picture, or has a side of more than 8192 pixels. Throws Failure when there is text
/// to draw and no font is installed.
std::optional<Bytes> renderDrawing(const Drawing& drawing, double width, double height, double scale);

/// Whether the installed fonts have every character of the text.
bool canDrawText(std::string_view text);

} // namespace halvo
