#pragma once

#include <Base/Bytes.h>
#include <Base/Failure.h>

#include <memory>
#include <optional>

namespace halvo {

/// What the program asks of the system's image libraries.
class ImageServices {
public:
    virtual ~ImageServices() = default;
    /// Draws the best picture of an icon file (ICNS) or an image file into `size` by `size` pixels, 8 bits
    /// per sample with alpha, and gives the PNG. Absent when the bytes hold no picture that can be read.
    virtual std::optional<Bytes> renderPNG(ByteView image, unsigned size) = 0;
};

/// The image libraries of this system, opened with the first call.
std::unique_ptr<ImageServices> makeSystemImageServices();

} // namespace halvo
