#pragma once

#include <ImageFormats/Picture.h>

#include <optional>

namespace halvo {

struct PictureSize {
    unsigned width = 0;
    unsigned height = 0;
};

/// The size in a PNG's header, without decoding. Absent when the bytes do not start like a PNG.
std::optional<PictureSize> readPNGSize(ByteView png);

/// Any PNG of up to `longestPictureSide`, as 8 bits per sample in sRGB. Absent when it is larger or damaged.
std::optional<Picture> decodePNG(ByteView png);

/// 8 bits per sample with alpha.
Bytes encodePNG(const Picture& picture);

} // namespace halvo
