#pragma once

#include <ImageFormats/Picture.h>

#include <optional>
#include <vector>

namespace halvo {

/// A picture inside an icon file that can be decoded, with the size that it claims. Borrows the file's bytes.
struct IconPicture {
    enum class Encoding {
        png,
        jpeg2000,
        packedARGB, ///< run-length encoded planes alpha, red, green, blue
        packedRGB,  ///< run-length encoded planes red, green, blue; alpha in `mask`
        plainRGB,   ///< the same planes as they are
    };
    Encoding encoding = Encoding::png;
    unsigned width = 0;
    unsigned height = 0;
    ByteView data{};
    ByteView mask{}; ///< one byte of alpha for each pixel; empty: opaque
};

/// The pictures of an Apple icon file (ICNS), in the file's order; the old icons of 1 to 8 bits are left
/// out, and so is what is larger than `longestPictureSide`. None when the bytes are not an icon file or
/// its elements do not fit into each other.
std::vector<IconPicture> listIconPictures(ByteView icns);

/// Absent when the picture is damaged.
std::optional<Picture> decodeIconPicture(const IconPicture& icon);

} // namespace halvo
