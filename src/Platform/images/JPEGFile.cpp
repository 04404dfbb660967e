#include "JPEGFile.h"

#include "ExifResolution.h"

#include <Base/BinaryReader.h>
#include <Base/BinaryWriter.h>

#include <cmath>

namespace halvo {
namespace {

// JPEG (ISO 10918-1) and JFIF, integers big-endian:
//   <file>    ::= FF D8 <segment>* <scan> ...
//   <segment> ::= FF+ <marker:u8> <length:u16, its own two bytes included> <data>
//   <frame>   ::= <precision:u8> <height:u16> <width:u16> ...
//   <JFIF>    ::= "JFIF" 00 <version:u16> <unit:u8> <density, x:u16> <y:u16> ...
//   <EXIF>    ::= "Exif" 00 00 <a TIFF file>
enum Marker : std::uint8_t {
    firstFrame = 0xC0,
    huffmanTables = 0xC4,
    reservedFrame = 0xC8,
    arithmeticTables = 0xCC,
    lastFrame = 0xCF,
    firstRestart = 0xD0,
    startOfImage = 0xD8,
    endOfImage = 0xD9,
    startOfScan = 0xDA,
    app0 = 0xE0,
    app1 = 0xE1,
};
enum Unit : std::uint8_t { aspectRatio = 0, inch = 1, centimetre = 2 };
constexpr std::string_view jfifName("JFIF\0", 5);
constexpr std::string_view exifName("Exif\0\0", 6);
constexpr std::size_t jfifUnitOffset = 7;
constexpr std::size_t jfifDensityEnd = 12;
constexpr std::size_t longestSegment = 0xFFFF - 2;
constexpr double centimetresPerInch = 2.54;

struct Segment {
    std::uint8_t marker = 0;
    ByteView data{};

    bool isFrame() const {
        return marker >= firstFrame && marker <= lastFrame && marker != huffmanTables &&
               marker != reservedFrame && marker != arithmeticTables;
    }
    bool isJFIF() const {
        return marker == app0 && viewText(data).starts_with(jfifName) && data.size() >= jfifDensityEnd;
    }
    bool isEXIF() const { return marker == app1 && viewText(data).starts_with(exifName); }
};

struct Headers {
    std::vector<Segment> segments{}; ///< up to the first scan
    ByteView rest{};                 ///< from its marker on
    const Segment* frame = nullptr;
    const Segment* jfif = nullptr;
    const Segment* exif = nullptr;
};

Headers readHeaders(ByteView jpeg) {
    Headers headers;
    BinaryReader reader(jpeg);
    reader.skip(2);
    for (;;) {
        const std::size_t start = reader.position();
        Segment segment{.marker = reader.readUInt8()};
        if (segment.marker != 0xFF) // no marker where one must be
            throw BinaryReadError(BinaryReadError::Kind::invalidOffset);
        while (segment.marker == 0xFF)
            segment.marker = reader.readUInt8();
        if (segment.marker == startOfScan || segment.marker == endOfImage) {
            headers.rest = jpeg.subspan(start);
            break;
        }
        if (segment.marker < firstFrame || (segment.marker >= firstRestart && segment.marker <= startOfImage))
            throw BinaryReadError(BinaryReadError::Kind::invalidOffset);
        const std::uint16_t length = reader.readUInt16();
        if (length < 2)
            throw BinaryReadError(BinaryReadError::Kind::invalidSkip);
        segment.data = reader.readBytes(length - 2u);
        headers.segments.push_back(segment);
    }
    for (const Segment& segment : headers.segments) { // the first of each counts
        if (headers.frame == nullptr && segment.isFrame())
            headers.frame = &segment;
        if (headers.jfif == nullptr && segment.isJFIF())
            headers.jfif = &segment;
        if (headers.exif == nullptr && segment.isEXIF())
            headers.exif = &segment;
    }
    return headers;
}

PixelDensity readJFIFDensity(const Segment& jfif) {
    BinaryReader reader(jfif.data);
    reader.seek(jfifUnitOffset);
    const std::uint8_t unit = reader.readUInt8();
    const double scale = unit == inch ? 1 : unit == centimetre ? centimetresPerInch : 0;
    const double x = reader.readUInt16();
    const double y = reader.readUInt16();
    return {x * scale, y * scale};
}

ByteView exifBlock(const Segment& exif) { return exif.data.subspan(exifName.size()); }

PixelDensity readDensity(const Headers& headers) {
    const PixelDensity density = headers.jfif != nullptr ? readJFIFDensity(*headers.jfif) : PixelDensity{};
    if (density != PixelDensity{} || headers.exif == nullptr)
        return density;
    try {
        return readExifDensity(exifBlock(*headers.exif));
    } catch (const BinaryReadError&) { // the picture can be read without it
        return {};
    }
}

bool isWhole(double value) { return value >= 1 && value <= 0xFFFF && value == std::floor(value); }

void writeSegment(BinaryWriter& output, std::uint8_t marker, ByteView data) {
    output.writeUInt8(0xFF);
    output.writeUInt8(marker);
    output.writeUInt16(static_cast<std::uint16_t>(data.size() + 2));
    output.writeBytes(data);
}

Bytes withJFIFDensity(ByteView jfif, PixelDensity density) {
    const bool isExact = isWhole(density.x) && isWhole(density.y);
    BinaryWriter output;
    output.writeBytes(jfif.first(jfifUnitOffset));
    output.writeUInt8(isExact ? inch : aspectRatio);
    output.writeUInt16(isExact ? static_cast<std::uint16_t>(density.x) : std::uint16_t{1});
    output.writeUInt16(isExact ? static_cast<std::uint16_t>(density.y) : std::uint16_t{1});
    output.writeBytes(jfif.subspan(jfifDensityEnd));
    return output.take();
}

} // namespace

std::optional<ImageProperties> readJPEGProperties(ByteView jpeg) {
    const Headers headers = readHeaders(jpeg);
    if (headers.frame == nullptr)
        return std::nullopt;
    BinaryReader frame(headers.frame->data);
    frame.skip(1);
    ImageProperties properties{.type = ImageProperties::Type::jpeg, .density = readDensity(headers)};
    properties.pixelHeight = frame.readUInt16();
    properties.pixelWidth = frame.readUInt16();
    return properties;
}

std::optional<Bytes> withJPEGDensity(ByteView jpeg, PixelDensity density) {
    const Headers headers = readHeaders(jpeg);
    const bool needsEXIF = headers.jfif == nullptr || !isWhole(density.x) || !isWhole(density.y);
    Bytes exif;
    if (headers.exif != nullptr || needsEXIF) {
        exif = copyBytes(exifName);
        const Bytes block =
            withExifDensity(headers.exif != nullptr ? exifBlock(*headers.exif) : ByteView(), density);
        exif.insert(exif.end(), block.begin(), block.end());
        if (exif.size() > longestSegment)
            return std::nullopt;
    }
    BinaryWriter output;
    output.reserve(jpeg.size() + 128);
    output.writeBytes(jpeg.first(2));
    if (headers.jfif != nullptr) // must be the first segment
        writeSegment(output, app0, withJFIFDensity(headers.jfif->data, density));
    if (!exif.empty())
        writeSegment(output, app1, exif);
    for (const Segment& segment : headers.segments)
        if (&segment != headers.jfif && &segment != headers.exif)
            writeSegment(output, segment.marker, segment.data);
    output.writeBytes(headers.rest);
    return output.take();
}

} // namespace halvo
