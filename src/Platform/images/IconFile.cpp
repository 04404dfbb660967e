#include <ImageFormats/IconFile.h>

#include <Base/BinaryReader.h>
#include <ImageFormats/JPEG2000Picture.h>
#include <ImageFormats/PNGPicture.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace halvo {
namespace {

// ICNS, integers big-endian; every length counts its own header too:
//   <file>    ::= "icns" <length:u32> <element>*
//   <element> ::= <type:4 bytes> <length:u32> <data>
constexpr std::string_view fileType = "icns";
constexpr std::uint32_t headerSize = 8;
constexpr std::string_view packedARGBPrefix = "ARGB";

/// The elements whose pictures are planes of pixels and do not say their size. Any of them may hold a PNG
/// or JPEG 2000 instead.
struct PlaneType {
    std::string_view type;
    unsigned side;
    std::string_view maskType; ///< empty: alpha is among the planes
    bool hasLeadingZeros;      ///< four zero bytes stand before the planes
};
constexpr std::array planeTypes{
    PlaneType{"is32", 16, "s8mk", false}, PlaneType{"il32", 32, "l8mk", false},
    PlaneType{"ih32", 48, "h8mk", false}, PlaneType{"it32", 128, "t8mk", true},
    PlaneType{"icp4", 16, "s8mk", false}, PlaneType{"icp5", 32, "l8mk", false},
    PlaneType{"ic04", 16, "", false},     PlaneType{"ic05", 32, "", false},
    PlaneType{"icsb", 18, "", false},     PlaneType{"icsB", 36, "", false},
    PlaneType{"sb24", 24, "", false},     PlaneType{"SB24", 48, "", false},
};

struct Element {
    std::string_view type;
    ByteView data;
};

std::vector<Element> readElements(ByteView icns) {
    std::vector<Element> elements;
    try {
        BinaryReader header(icns);
        if (viewText(header.readBytes(fileType.size())) != fileType)
            return {};
        const std::uint32_t length = header.readUInt32();
        if (length < headerSize)
            return {};
        BinaryReader reader = header.block(headerSize, length - headerSize);
        while (!reader.atEnd()) {
            const std::string_view type = viewText(reader.readBytes(4));
            const std::uint32_t elementLength = reader.readUInt32();
            if (elementLength < headerSize)
                return {};
            elements.push_back({type, reader.readBytes(elementLength - headerSize)});
        }
    } catch (const BinaryReadError&) { // damaged: no pictures
        return {};
    }
    return elements;
}

ByteView findMask(const std::vector<Element>& elements, std::string_view type, std::size_t size) {
    const auto found = std::ranges::find(elements, type, &Element::type);
    return found != elements.end() && found->data.size() == size ? found->data : ByteView();
}

bool startsWith(ByteView data, std::string_view prefix) { return viewText(data).starts_with(prefix); }

std::optional<IconPicture> recognise(const Element& element, const std::vector<Element>& elements) {
    IconPicture compressed{.data = element.data};
    std::optional<PictureSize> size = readPNGSize(element.data);
    if (!size) {
        compressed.encoding = IconPicture::Encoding::jpeg2000;
        size = readJPEG2000Size(element.data);
    }
    if (size) {
        compressed.width = size->width;
        compressed.height = size->height;
        const auto [shorter, longer] = std::minmax(size->width, size->height);
        return shorter == 0 || longer > longestPictureSide ? std::nullopt : std::optional(compressed);
    }
    const auto type = std::ranges::find(planeTypes, element.type, &PlaneType::type);
    if (type == planeTypes.end())
        return std::nullopt;
    const std::size_t pixels = std::size_t{type->side} * type->side;
    IconPicture picture{.width = type->side, .height = type->side, .data = element.data};
    if (startsWith(element.data, packedARGBPrefix)) {
        picture.encoding = IconPicture::Encoding::packedARGB;
        picture.data = element.data.subspan(packedARGBPrefix.size());
        return picture;
    }
    if (type->maskType.empty())
        return std::nullopt;
    picture.mask = findMask(elements, type->maskType, pixels);
    picture.encoding = IconPicture::Encoding::packedRGB;
    if (element.data.size() == 3 * pixels)
        picture.encoding = IconPicture::Encoding::plainRGB;
    else if (type->hasLeadingZeros && startsWith(element.data, std::string_view("\0\0\0\0", 4)))
        picture.data = element.data.subspan(4);
    return picture;
}

/// A control byte below 128 is followed by that many bytes and one more; any other, less 125, says how often
/// the byte after it is repeated. The planes follow each other in one stream.
std::optional<Bytes> unpackRuns(ByteView packed, std::size_t size) {
    Bytes output;
    output.reserve(size);
    std::size_t position = 0;
    while (output.size() < size) {
        if (packed.size() - position < 2)
            return std::nullopt;
        const std::size_t control = packed[position++];
        if (control < 128) {
            const std::size_t count = control + 1;
            if (count > packed.size() - position || count > size - output.size())
                return std::nullopt;
            const ByteView run = packed.subspan(position, count);
            output.insert(output.end(), run.begin(), run.end());
            position += count;
        } else {
            const std::size_t count = control - 125;
            if (count > size - output.size())
                return std::nullopt;
            output.insert(output.end(), count, packed[position++]);
        }
    }
    return output;
}

Picture interleave(ByteView red, ByteView green, ByteView blue, ByteView alpha, const IconPicture& icon) {
    Picture picture{.width = icon.width, .height = icon.height, .pixels = Bytes(red.size() * 4)};
    for (std::size_t index = 0; index < red.size(); ++index) {
        picture.pixels[4 * index] = red[index];
        picture.pixels[4 * index + 1] = green[index];
        picture.pixels[4 * index + 2] = blue[index];
        picture.pixels[4 * index + 3] = alpha.empty() ? 0xFF : alpha[index];
    }
    return picture;
}

} // namespace

std::vector<IconPicture> listIconPictures(ByteView icns) {
    const std::vector<Element> elements = readElements(icns);
    std::vector<IconPicture> pictures;
    for (const Element& element : elements)
        if (auto picture = recognise(element, elements))
            pictures.push_back(*picture);
    return pictures;
}

std::optional<Picture> decodeIconPicture(const IconPicture& icon) {
    if (icon.encoding == IconPicture::Encoding::png)
        return decodePNG(icon.data);
    if (icon.encoding == IconPicture::Encoding::jpeg2000)
        return decodeJPEG2000(icon.data);
    const std::size_t plane = std::size_t{icon.width} * icon.height;
    const bool hasAlphaPlane = icon.encoding == IconPicture::Encoding::packedARGB;
    Bytes unpacked;
    ByteView planes = icon.data;
    if (icon.encoding != IconPicture::Encoding::plainRGB) {
        auto runs = unpackRuns(icon.data, (hasAlphaPlane ? 4 : 3) * plane);
        if (!runs)
            return std::nullopt;
        unpacked = std::move(*runs);
        planes = unpacked;
    }
    const ByteView alpha = hasAlphaPlane ? planes.first(plane) : icon.mask;
    const ByteView colours = hasAlphaPlane ? planes.subspan(plane) : planes;
    return interleave(colours.first(plane), colours.subspan(plane, plane), colours.subspan(2 * plane, plane),
                      alpha, icon);
}

} // namespace halvo
