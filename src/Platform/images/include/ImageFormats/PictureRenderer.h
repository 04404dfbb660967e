#pragma once

#include <ImageFormats/Picture.h>

#include <optional>

namespace halvo {

/// Scales the picture to fit `size` by `size` pixels, keeps its proportions and centres it on nothing.
Picture fitPicture(const Picture& picture, unsigned size);

/// The best picture of an icon file, or the PNG, drawn into `size` by `size` pixels, as a PNG. The best is
/// the smallest that is at least that large, else the largest; one that is damaged gives way to the next.
/// Absent when there is none, or `size` is 0 or beyond `longestPictureSide`.
std::optional<Bytes> renderAsPNG(ByteView image, unsigned size);

} // namespace halvo
