#pragma once

#include <Base/Bytes.h>

namespace halvo {

/// Pixels in rows from the top, four bytes each: red, green, blue, alpha; colours are not multiplied by
/// alpha.
struct Picture {
    unsigned width = 0;
    unsigned height = 0;
    Bytes pixels{}; ///< width * height * 4
};

/// Pictures with a longer side are not decoded: a few bytes can claim to be millions of pixels wide.
constexpr unsigned longestPictureSide = 4096;

} // namespace halvo
