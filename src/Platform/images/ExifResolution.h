#pragma once

#include <Platform/ImageServices.h>

namespace halvo {

// The resolution tags of an EXIF block, which has the form of a TIFF file.

/// 0 where the tags are missing, have another type or no unit of length. Throws BinaryReadError when the
/// block is no TIFF or its first directory lies outside of it.
PixelDensity readExifDensity(ByteView exif);

/// The block with a new first directory behind everything else, so that what other directories and notes
/// point at stays where it was. An empty block gives a new one. Throws BinaryReadError like the above.
Bytes withExifDensity(ByteView exif, PixelDensity density);

} // namespace halvo
