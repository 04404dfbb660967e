#pragma once

#include <Platform/ImageServices.h>

namespace halvo {

// The image must begin with JPEG's first marker. Both read no further than the start of the first scan, and
// throw BinaryReadError when the file ends before it.

/// The size from the frame header; the density from JFIF where it names a unit, else from EXIF. Absent when
/// there is no frame.
std::optional<ImageProperties> readJPEGProperties(ByteView jpeg);

/// With `density` in the JFIF and EXIF segments that are there. EXIF is added where JFIF is missing or,
/// having only whole numbers, cannot state the density. JFIF is never added: it would change what the colours
/// mean in files whose Adobe segment says that they are RGB. Absent when EXIF is damaged or has no room.
std::optional<Bytes> withJPEGDensity(ByteView jpeg, PixelDensity density);

} // namespace halvo
