#include "PNGFile.h"

#include <Base/BinaryReader.h>
#include <Base/BinaryWriter.h>

#include <cmath>

#include <zlib.h>

namespace halvo {
namespace {

// PNG (ISO 15948), integers big-endian:
//   <file>  ::= <signature:8> <chunk>*
//   <chunk> ::= <length:u32> <type:4> <data:length> <CRC-32 of type and data:u32>
//   IHDR    ::= <width:u32> <height:u32> <depth> <colour> <compression> <filter> <interlace>
//   pHYs    ::= <pixels per unit, x:u32> <y:u32> <unit:u8, 1 is the metre>
constexpr std::size_t signatureSize = 8;
constexpr std::size_t headerSize = 13;
constexpr std::size_t resolutionSize = 9;
constexpr std::uint8_t metre = 1;
constexpr double metresPerInch = 0.0254;
constexpr std::uint32_t greatestInteger = 0x7FFFFFFF;

struct Chunk {
    std::string_view type;
    ByteView data;
    ByteView whole;
    bool isSound = false; ///< its checksum is right
};

std::uint32_t checksum(ByteView typeAndData) {
    return static_cast<std::uint32_t>(::crc32_z(0, typeAndData.data(), typeAndData.size()));
}

Chunk readChunk(ByteView png, BinaryReader& reader) {
    const std::size_t start = reader.position();
    const std::uint32_t length = reader.readUInt32();
    Chunk chunk{.type = viewText(reader.readBytes(4)), .data = reader.readBytes(length)};
    const ByteView checked = png.subspan(start + 4, 4 + std::size_t{length});
    chunk.isSound = reader.readUInt32() == checksum(checked);
    chunk.whole = png.subspan(start, reader.position() - start);
    return chunk;
}

/// Calls `visit` for each chunk before the first with image data; gives where that one starts.
template<typename Visitor>
std::size_t visitHeaderChunks(ByteView png, Visitor visit) {
    BinaryReader reader(png);
    reader.skip(signatureSize);
    for (;;) {
        BinaryReader ahead = reader;
        ahead.skip(4);
        if (viewText(ahead.readBytes(4)) == "IDAT")
            return reader.position();
        visit(readChunk(png, reader));
    }
}

std::optional<std::uint32_t> pixelsPerMetre(double density) {
    const double value = std::round(density / metresPerInch);
    if (!(value >= 1 && value <= greatestInteger))
        return std::nullopt;
    return static_cast<std::uint32_t>(value);
}

} // namespace

std::optional<ImageProperties> readPNGProperties(ByteView png) {
    std::optional<ImageProperties> properties;
    bool isFirst = true;
    visitHeaderChunks(png, [&](const Chunk& chunk) {
        BinaryReader reader(chunk.data);
        if (isFirst && chunk.type == "IHDR" && chunk.isSound && chunk.data.size() == headerSize)
            properties = ImageProperties{.type = ImageProperties::Type::png,
                                         .pixelWidth = reader.readUInt32(),
                                         .pixelHeight = reader.readUInt32()};
        isFirst = false;
        if (properties && chunk.type == "pHYs" && chunk.isSound && chunk.data.size() == resolutionSize) {
            const double x = reader.readUInt32() * metresPerInch;
            const double y = reader.readUInt32() * metresPerInch;
            if (reader.readUInt8() == metre)
                properties->density = {x, y};
        }
    });
    return properties;
}

std::optional<Bytes> withPNGDensity(ByteView png, PixelDensity density) {
    const auto x = pixelsPerMetre(density.x);
    const auto y = pixelsPerMetre(density.y);
    if (!x || !y)
        return std::nullopt;
    BinaryWriter resolution;
    resolution.writeText("pHYs");
    resolution.writeUInt32(*x);
    resolution.writeUInt32(*y);
    resolution.writeUInt8(metre);

    BinaryWriter output;
    output.reserve(png.size() + 32);
    output.writeBytes(png.first(signatureSize));
    bool isFirst = true;
    const std::size_t imageData = visitHeaderChunks(png, [&](const Chunk& chunk) {
        if (chunk.type != "pHYs")
            output.writeBytes(chunk.whole);
        if (isFirst) { // IHDR
            output.writeUInt32(resolutionSize);
            output.writeBytes(resolution.bytes());
            output.writeUInt32(checksum(resolution.bytes()));
        }
        isFirst = false;
    });
    output.writeBytes(png.subspan(imageData));
    return output.take();
}

} // namespace halvo
