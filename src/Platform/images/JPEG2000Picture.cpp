#include <ImageFormats/JPEG2000Picture.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

#include <openjpeg.h>

namespace halvo {
namespace {

using namespace std::string_view_literals;
constexpr std::string_view fileSignature = "\0\0\0\x0CjP  "sv;
constexpr std::string_view codestreamSignature = "\xFF\x4F\xFF\x51"sv;

struct Input {
    ByteView bytes{};
    std::size_t position = 0;
};

OPJ_SIZE_T readInput(void* target, OPJ_SIZE_T size, void* data) {
    Input& input = *static_cast<Input*>(data);
    const std::size_t count = std::min<std::size_t>(size, input.bytes.size() - input.position);
    if (count == 0)
        return static_cast<OPJ_SIZE_T>(-1);
    std::memcpy(target, input.bytes.data() + input.position, count);
    input.position += count;
    return count;
}

OPJ_OFF_T skipInput(OPJ_OFF_T count, void* data) {
    Input& input = *static_cast<Input*>(data);
    if (count < 0)
        return -1;
    const std::size_t skipped =
        std::min<std::size_t>(static_cast<std::size_t>(count), input.bytes.size() - input.position);
    input.position += skipped;
    return static_cast<OPJ_OFF_T>(skipped);
}

OPJ_BOOL seekInput(OPJ_OFF_T offset, void* data) {
    Input& input = *static_cast<Input*>(data);
    if (offset < 0 || static_cast<std::size_t>(offset) > input.bytes.size())
        return OPJ_FALSE;
    input.position = static_cast<std::size_t>(offset);
    return OPJ_TRUE;
}

struct Free {
    void operator()(opj_codec_t* it) const { opj_destroy_codec(it); }
    void operator()(opj_image_t* it) const { opj_image_destroy(it); }
};
struct FreeStream {
    void operator()(opj_stream_t* it) const { opj_stream_destroy(it); }
};

/// An image whose header is read, and which may be decoded once.
class Decoder {
public:
    explicit Decoder(ByteView bytes) : input{bytes} {
        const std::string_view text = viewText(bytes);
        if (!text.starts_with(fileSignature) && !text.starts_with(codestreamSignature))
            return;
        codec.reset(opj_create_decompress(text.starts_with(fileSignature) ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K));
        stream.reset(opj_stream_default_create(OPJ_TRUE));
        opj_dparameters_t parameters{};
        opj_set_default_decoder_parameters(&parameters);
        opj_image_t* header = nullptr;
        opj_stream_set_user_data(stream.get(), &input, nullptr);
        opj_stream_set_user_data_length(stream.get(), bytes.size());
        opj_stream_set_read_function(stream.get(), readInput);
        opj_stream_set_skip_function(stream.get(), skipInput);
        opj_stream_set_seek_function(stream.get(), seekInput);
        if (opj_setup_decoder(codec.get(), &parameters) &&
            opj_read_header(stream.get(), codec.get(), &header))
            image.reset(header);
    }

    /// Absent without a header that makes sense, and for more components than a picture has.
    std::optional<PictureSize> size() const {
        if (!image || image->x1 <= image->x0 || image->y1 <= image->y0 || image->numcomps < 1 ||
            image->numcomps > 4)
            return std::nullopt;
        return PictureSize{image->x1 - image->x0, image->y1 - image->y0};
    }

    const opj_image_t* decode() {
        const bool whole = opj_decode(codec.get(), stream.get(), image.get()) &&
                           opj_end_decompress(codec.get(), stream.get());
        return whole ? image.get() : nullptr;
    }

private:
    Input input;
    std::unique_ptr<opj_codec_t, Free> codec;
    std::unique_ptr<opj_stream_t, FreeStream> stream;
    std::unique_ptr<opj_image_t, Free> image;
};

std::uint8_t sampleOf(const opj_image_comp_t& component, std::size_t index) {
    const int depth = static_cast<int>(component.prec);
    const int value = component.data[index] + (component.sgnd ? 1 << (depth - 1) : 0);
    return static_cast<std::uint8_t>(
        std::clamp(depth > 8 ? value >> (depth - 8) : value * 255 / ((1 << depth) - 1), 0, 255));
}

} // namespace

std::optional<PictureSize> readJPEG2000Size(ByteView image) { return Decoder(image).size(); }

std::optional<Picture> decodeJPEG2000(ByteView bytes) {
    Decoder decoder(bytes);
    const auto size = decoder.size();
    if (!size || std::max(size->width, size->height) > longestPictureSide)
        return std::nullopt;
    const opj_image_t* image = decoder.decode();
    if (image == nullptr || image->color_space == OPJ_CLRSPC_SYCC || image->color_space == OPJ_CLRSPC_EYCC ||
        image->color_space == OPJ_CLRSPC_CMYK)
        return std::nullopt;
    const std::span components(image->comps, image->numcomps);
    for (const opj_image_comp_t& component : components)
        if (component.w != size->width || component.h != size->height || component.data == nullptr ||
            component.prec < 1 || component.prec > 16)
            return std::nullopt;

    const std::size_t colours = components.size() < 3 ? 1 : 3; // grey, or red, green, blue; then alpha
    Picture picture{.width = size->width,
                    .height = size->height,
                    .pixels = Bytes(std::size_t{4} * size->width * size->height)};
    for (std::size_t pixel = 0; pixel < picture.pixels.size() / 4; ++pixel) {
        for (std::size_t channel = 0; channel < 3; ++channel)
            picture.pixels[4 * pixel + channel] = sampleOf(components[colours == 1 ? 0 : channel], pixel);
        picture.pixels[4 * pixel + 3] =
            components.size() > colours ? sampleOf(components[colours], pixel) : std::uint8_t{0xFF};
    }
    return picture;
}

} // namespace halvo
