#pragma once

#include <Platform/ImageServices.h>

namespace halvo {

// The image must begin with PNG's signature. Both read no further than the first chunk of image data, and
// throw BinaryReadError when the file ends before it.

/// From IHDR and pHYs. Absent when IHDR is missing or damaged.
std::optional<ImageProperties> readPNGProperties(ByteView png);

/// With one pHYs chunk, behind IHDR; everything else stays. Absent when `density` does not fit into it.
std::optional<Bytes> withPNGDensity(ByteView png, PixelDensity density);

} // namespace halvo
