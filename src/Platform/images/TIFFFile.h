#pragma once

#include <Platform/ImageServices.h>

namespace halvo {

// The first picture of a TIFF or BigTIFF file, through libtiff.

/// Absent when the directory is damaged.
std::optional<ImageProperties> readTIFFProperties(ByteView tiff);

/// With the resolution tags in a directory that is written anew; image data stays where it is. Absent when
/// libtiff refuses.
std::optional<Bytes> withTIFFDensity(ByteView tiff, PixelDensity density);

} // namespace halvo
