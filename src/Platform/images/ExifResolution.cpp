#include "ExifResolution.h"

#include <Base/BinaryReader.h>

#include <algorithm>
#include <cmath>

namespace halvo {
namespace {

// TIFF 6.0, integers in the order that the first two bytes name:
//   <file>      ::= ("II" | "MM") <42:u16> <offset of the first directory:u32> ...
//   <directory> ::= <count:u16> <entry>{count} <offset of the next directory:u32>
//   <entry>     ::= <tag:u16> <type:u16> <count:u32> <value, or its offset where it is longer:u32>
enum Tag : std::uint16_t { xResolution = 282, yResolution = 283, resolutionUnit = 296 };
enum Type : std::uint16_t { shortType = 3, rationalType = 5 };
enum Unit : std::uint16_t { inch = 2, centimetre = 3 };
constexpr std::uint16_t magicNumber = 42;
constexpr std::size_t entrySize = 12;
constexpr double centimetresPerInch = 2.54;

struct Entry {
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    ByteView whole{};
    std::uint32_t valueOffset = 0; ///< of the value's field itself
};

class Block {
public:
    explicit Block(ByteView bytes) : bytes(bytes), littleEndian(viewText(bytes).starts_with("II")) {
        if (readUInt16(2) != magicNumber)
            throw BinaryReadError(BinaryReadError::Kind::invalidOffset);
        const std::uint32_t directory = readUInt32(4);
        const std::uint16_t count = readUInt16(directory);
        for (std::uint32_t index = 0; index < count; ++index) {
            const std::uint64_t offset = std::uint64_t{directory} + 2 + index * entrySize;
            BinaryReader reader(bytes);
            reader.seek(offset);
            entries.push_back({.tag = readUInt16(offset),
                               .type = readUInt16(offset + 2),
                               .whole = reader.readBytes(entrySize),
                               .valueOffset = static_cast<std::uint32_t>(offset + 8)});
        }
        nextDirectory = readUInt32(std::uint64_t{directory} + 2 + count * entrySize);
    }

    std::uint16_t readUInt16(std::uint64_t offset) const {
        BinaryReader reader(bytes);
        reader.seek(offset);
        const std::uint16_t value = reader.readUInt16();
        return littleEndian ? static_cast<std::uint16_t>(value << 8 | value >> 8) : value;
    }
    std::uint32_t readUInt32(std::uint64_t offset) const {
        const std::uint32_t first = readUInt16(offset);
        const std::uint32_t second = readUInt16(offset + 2);
        return littleEndian ? second << 16 | first : first << 16 | second;
    }

    const Entry* find(Tag tag, Type type) const {
        const auto found = std::ranges::find_if(
            entries, [&](const Entry& entry) { return entry.tag == tag && entry.type == type; });
        return found == entries.end() ? nullptr : &*found;
    }
    double rational(Tag tag) const {
        const Entry* entry = find(tag, rationalType);
        if (entry == nullptr)
            return 0;
        const std::uint64_t offset = readUInt32(entry->valueOffset);
        const double denominator = readUInt32(offset + 4);
        return denominator > 0 ? readUInt32(offset) / denominator : 0;
    }

    ByteView bytes;
    bool littleEndian;
    std::vector<Entry> entries;
    std::uint32_t nextDirectory = 0;
};

/// Appends integers in the block's byte order.
class BlockWriter {
public:
    BlockWriter(Bytes& output, bool littleEndian) : output(output), littleEndian(littleEndian) {}

    void writeUInt16(std::uint32_t value) { write(value, 2); }
    void writeUInt32(std::uint32_t value) { write(value, 4); }
    void writeEntry(Tag tag, Type type, std::uint32_t value) {
        writeUInt16(tag);
        writeUInt16(type);
        writeUInt32(1);
        if (type == shortType) {
            writeUInt16(value);
            writeUInt16(0);
        } else {
            writeUInt32(value);
        }
    }
    void writeRational(double value) {
        const std::uint32_t denominator = value == std::floor(value) ? 1 : 10000;
        writeUInt32(static_cast<std::uint32_t>(std::llround(value * denominator)));
        writeUInt32(denominator);
    }

private:
    void write(std::uint32_t value, unsigned size) {
        for (unsigned index = 0; index < size; ++index)
            output.push_back(
                static_cast<std::uint8_t>(value >> 8 * (littleEndian ? index : size - 1 - index)));
    }

    Bytes& output;
    bool littleEndian;
};

bool isResolution(const Entry& entry) {
    return entry.tag == xResolution || entry.tag == yResolution || entry.tag == resolutionUnit;
}

} // namespace

PixelDensity readExifDensity(ByteView exif) {
    const Block block(exif);
    const Entry* unitEntry = block.find(resolutionUnit, shortType);
    const std::uint16_t unit =
        unitEntry == nullptr ? std::uint16_t{inch} : block.readUInt16(unitEntry->valueOffset);
    if (unit != inch && unit != centimetre)
        return {};
    const double scale = unit == centimetre ? centimetresPerInch : 1;
    return {block.rational(xResolution) * scale, block.rational(yResolution) * scale};
}

Bytes withExifDensity(ByteView exif, PixelDensity density) {
    static constexpr std::uint8_t emptyBlock[] = {'M', 'M', 0, magicNumber, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0};
    const Block block(exif.empty() ? ByteView(emptyBlock) : exif);
    Bytes output(block.bytes.begin(), block.bytes.end());
    if (output.size() % 2 != 0) // values begin at even offsets
        output.push_back(0);
    BlockWriter writer(output, block.littleEndian);

    const auto values = static_cast<std::uint32_t>(output.size());
    writer.writeRational(density.x);
    writer.writeRational(density.y);
    const auto directory = static_cast<std::uint32_t>(output.size());
    std::vector<Entry> kept = block.entries;
    std::erase_if(kept, isResolution);
    const auto copyEntries = [&](std::uint32_t from, std::uint32_t to) { // directories are sorted by tag
        for (const Entry& entry : kept)
            if (entry.tag >= from && entry.tag < to)
                output.insert(output.end(), entry.whole.begin(), entry.whole.end());
    };
    writer.writeUInt16(static_cast<std::uint32_t>(kept.size() + 3));
    copyEntries(0, xResolution);
    writer.writeEntry(xResolution, rationalType, values);
    writer.writeEntry(yResolution, rationalType, values + 8);
    copyEntries(yResolution, resolutionUnit);
    writer.writeEntry(resolutionUnit, shortType, inch);
    copyEntries(resolutionUnit, 0x10000);
    writer.writeUInt32(block.nextDirectory);

    Bytes start;
    BlockWriter(start, block.littleEndian).writeUInt32(directory);
    std::ranges::copy(start, output.begin() + 4);
    return output;
}

} // namespace halvo
