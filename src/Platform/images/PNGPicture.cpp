#include <ImageFormats/PNGPicture.h>

#include <Base/BinaryReader.h>

#include <algorithm>
#include <array>
#include <stdexcept>

#include <png.h>

namespace halvo {
namespace {

/// Frees what libpng keeps between its calls.
struct PNGImage : png_image {
    PNGImage() : png_image{} { version = PNG_IMAGE_VERSION; }
    PNGImage(const PNGImage&) = delete;
    PNGImage& operator=(const PNGImage&) = delete;
    ~PNGImage() { png_image_free(this); }
};

} // namespace

std::optional<PictureSize> readPNGSize(ByteView png) {
    static constexpr std::array<std::uint8_t, 8> signature{0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
    constexpr std::size_t headerSize = 24; // signature, length and type of the first chunk, two integers
    if (png.size() < headerSize || !std::ranges::equal(png.first(signature.size()), signature))
        return std::nullopt;
    BinaryReader reader(png);
    reader.skip(12);
    if (viewText(reader.readBytes(4)) != "IHDR")
        return std::nullopt;
    const unsigned width = reader.readUInt32();
    const unsigned height = reader.readUInt32();
    return PictureSize{width, height};
}

std::optional<Picture> decodePNG(ByteView png) {
    const auto size = readPNGSize(png);
    if (!size || std::max(size->width, size->height) > longestPictureSide)
        return std::nullopt;
    PNGImage image;
    if (png_image_begin_read_from_memory(&image, png.data(), png.size()) == 0)
        return std::nullopt;
    image.format = PNG_FORMAT_RGBA;
    Picture picture{.width = image.width, .height = image.height, .pixels = Bytes(PNG_IMAGE_SIZE(image))};
    if (png_image_finish_read(&image, nullptr, picture.pixels.data(), 0, nullptr) == 0)
        return std::nullopt;
    return picture;
}

Bytes encodePNG(const Picture& picture) {
    PNGImage image;
    image.width = picture.width;
    image.height = picture.height;
    image.format = PNG_FORMAT_RGBA;
    png_alloc_size_t size = PNG_IMAGE_PNG_SIZE_MAX(image);
    Bytes output(size);
    if (png_image_write_to_memory(&image, output.data(), &size, 0, picture.pixels.data(), 0, nullptr) == 0)
        throw std::runtime_error(std::string("libpng: ") + image.message);
    output.resize(size);
    return output;
}

} // namespace halvo
