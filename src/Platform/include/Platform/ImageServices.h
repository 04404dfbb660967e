#pragma once

#include <Base/Bytes.h>
#include <Base/Failure.h>
#include <Platform/Drawing.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

namespace halvo {

/// Pixels for each inch; 0 is a density that is not known.
struct PixelDensity {
    double x = 0;
    double y = 0;
    bool operator==(const PixelDensity&) const = default;
};

/// What an image file says of itself.
struct ImageProperties {
    enum class Type { png, jpeg, tiff };
    Type type = Type::png;
    std::uint32_t pixelWidth = 0; ///< as stored, before any rotation that the file asks for
    std::uint32_t pixelHeight = 0;
    PixelDensity density{}; ///< 0 without DPI tags, or when they name no unit of length
};

/// What the program asks of the system's image libraries.
class ImageServices {
public:
    virtual ~ImageServices() = default;
    /// Draws the best picture of an icon file (ICNS) or an image file into `size` by `size` pixels, 8 bits
    /// per sample with alpha, and gives the PNG. Absent when the bytes hold no picture that can be read.
    virtual std::optional<Bytes> renderPNG(ByteView image, unsigned size) = 0;

    /// Draws `width` by `height` points with `scale` pixels for each point, and gives a PNG with DPI tags of
    /// 72 * `scale`. Absent when there are no such pictures: without area, or with a side of more than 8192
    /// pixels. Throws Failure when the drawing has text and no font is installed.
    virtual std::optional<Bytes> renderPNG(const Drawing& drawing, double width, double height,
                                           double scale) = 0;

    /// Whether the installed fonts have every character of the text; others are drawn as boxes.
    virtual bool canDraw(std::string_view text) = 0;

    /// Reads the headers of a PNG, JPEG or TIFF file, whatever size they claim; pixels are not decoded.
    /// Absent for other bytes and for damaged headers.
    virtual std::optional<ImageProperties> readProperties(ByteView image) = 0;

    /// The same file with DPI tags of `density`; the image data stays as it was, byte for byte. Absent when
    /// the file is too damaged for that, or the format cannot state the density.
    virtual std::optional<Bytes> withDensity(ByteView image, PixelDensity density) = 0;
};

/// The image libraries of this system, opened with the first call.
std::unique_ptr<ImageServices> makeSystemImageServices();

} // namespace halvo
