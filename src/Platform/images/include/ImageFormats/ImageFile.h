#pragma once

#include <Platform/ImageServices.h>

namespace halvo {

/// The headers of a PNG, JPEG or TIFF file; absent for other or damaged bytes. Pixels are not decoded.
std::optional<ImageProperties> readImageProperties(ByteView image);

/// The file with other DPI tags; absent when that cannot be had. The image data stays as it was.
std::optional<Bytes> withImageDensity(ByteView image, PixelDensity density);

} // namespace halvo
