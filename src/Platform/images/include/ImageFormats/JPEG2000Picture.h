#pragma once

#include <ImageFormats/PNGPicture.h>

#include <optional>

namespace halvo {

/// The size in the header of a JPEG 2000 file or codestream, without decoding. Absent when the bytes do not
/// start like one, or the header is damaged.
std::optional<PictureSize> readJPEG2000Size(ByteView image);

/// A picture of up to `longestPictureSide` in grey or RGB, with alpha or without, as 8 bits per sample.
/// Absent when it is larger, of another kind or damaged.
std::optional<Picture> decodeJPEG2000(ByteView image);

} // namespace halvo
