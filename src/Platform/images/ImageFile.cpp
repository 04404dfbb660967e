#include <ImageFormats/ImageFile.h>

#include "JPEGFile.h"
#include "PNGFile.h"
#include "TIFFFile.h"

#include <Base/BinaryReader.h>

namespace halvo {
namespace {

std::optional<ImageProperties::Type> recognise(ByteView image) {
    using Type = ImageProperties::Type;
    using namespace std::string_view_literals;
    constexpr std::pair<std::string_view, Type> signatures[] = {
        {"\x89PNG\r\n\x1A\n"sv, Type::png},
        {"\xFF\xD8\xFF"sv, Type::jpeg},
        {"II*\0"sv, Type::tiff},
        {"MM\0*"sv, Type::tiff},
        {"II+\0\x08\0"sv, Type::tiff},
        {"MM\0+\0\x08"sv, Type::tiff},
    };
    for (const auto& [signature, type] : signatures)
        if (viewText(image).starts_with(signature))
            return type;
    return std::nullopt;
}

} // namespace

std::optional<ImageProperties> readImageProperties(ByteView image) {
    const auto type = recognise(image);
    if (!type)
        return std::nullopt;
    try {
        switch (*type) {
        case ImageProperties::Type::png: return readPNGProperties(image);
        case ImageProperties::Type::jpeg: return readJPEGProperties(image);
        case ImageProperties::Type::tiff: return readTIFFProperties(image);
        }
    } catch (const BinaryReadError&) { // the headers end too early
    }
    return std::nullopt;
}

std::optional<Bytes> withImageDensity(ByteView image, PixelDensity density) {
    const auto type = recognise(image);
    if (!type)
        return std::nullopt;
    try {
        switch (*type) {
        case ImageProperties::Type::png: return withPNGDensity(image, density);
        case ImageProperties::Type::jpeg: return withJPEGDensity(image, density);
        case ImageProperties::Type::tiff: return withTIFFDensity(image, density);
        }
    } catch (const BinaryReadError&) {
    }
    return std::nullopt;
}

} // namespace halvo
