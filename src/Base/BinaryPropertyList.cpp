#include "PropertyListForms.h"

#include <Base/BinaryReader.h>
#include <Base/BinaryWriter.h>
#include <Base/Unicode.h>

#include <algorithm>
#include <bit>
#include <limits>

// All integers are big-endian:
//   <file>    ::= "bplist00" <object>* <offset table> <trailer: 32 bytes>
//   <object>  ::= <marker: type in the high half, length or size in the low half> <payload>
//   <table>   ::= the offset of each object, in `offsetSize` bytes
//   <trailer> ::= 6 zero bytes, offsetSize:u8, referenceSize:u8, object count:u64, top object:u64, table
//   offset:u64
// A container's payload is a list of references, which are indices into the table; a dictionary has those of
// its keys, then those of its values.
namespace halvo {
namespace {

constexpr std::string_view signature = "bplist00";
constexpr std::size_t trailerSize = 32;
constexpr std::uint8_t lengthFollows = 0xF; ///< the low half of a marker whose length is an integer behind it

enum Marker : std::uint8_t {
    falseMarker = 0x08,
    trueMarker = 0x09,
    integerType = 0x1,
    realType = 0x2,
    dateMarker = 0x33,
    dataType = 0x4,
    asciiType = 0x5,
    utf16Type = 0x6,
    uidType = 0x8,
    arrayType = 0xA,
    dictionaryType = 0xD,
};

[[noreturn]] void refuse(const std::string& reason) {
    throw PropertyListError("The binary property list is damaged: " + reason + ".");
}

std::uint64_t readSized(BinaryReader& reader, std::size_t size) {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : reader.readBytes(size))
        value = value << 8 | byte;
    return value;
}

class Reader {
public:
    Reader(ByteView bytes, std::size_t maxContentSize) : whole(bytes), budget(bytes.size(), maxContentSize) {
        if (!viewText(bytes).starts_with(
                signature.substr(0, signature.size() - 1))) // like macOS: 01 is read, too
            refuse("its version is not 0");
        if (bytes.size() < signature.size() + trailerSize)
            refuse("it is cut off");
        BinaryReader trailer = whole.block(bytes.size() - trailerSize, trailerSize);
        trailer.skip(6);
        offsetSize = trailer.readUInt8();
        referenceSize = trailer.readUInt8();
        count = trailer.readUInt64();
        top = trailer.readUInt64();
        tableOffset = trailer.readUInt64();
        if (offsetSize < 1 || offsetSize > 8 || referenceSize < 1 || referenceSize > 8)
            refuse("its trailer has impossible sizes");
        objectsEnd = bytes.size() - trailerSize;
        if (tableOffset > objectsEnd || count > (objectsEnd - tableOffset) / offsetSize)
            refuse("its offset table does not fit");
    }

    PropertyList read() { return object(top, 1); }

private:
    PropertyList object(std::uint64_t index, std::size_t depth) {
        PropertyListBudget::checkDepth(depth);
        BinaryReader reader = at(index);
        const std::uint8_t marker = reader.readUInt8();
        const std::uint8_t low = marker & 0xF;
        if (marker == falseMarker || marker == trueMarker || marker == dateMarker)
            return scalar(marker, reader);
        switch (marker >> 4) {
        case integerType: return integer(reader, low);
        case realType: return real(reader, low);
        case uidType: return uid(reader, low);
        case dataType: {
            const ByteView data = payload(reader, low, 1);
            return Bytes(data.begin(), data.end());
        }
        case asciiType:
        case utf16Type: return text(reader, marker);
        case arrayType: return array(reader, low, depth);
        case dictionaryType: return dictionary(reader, low, depth);
        default: refuse("an object has an unknown type");
        }
    }

    BinaryReader at(std::uint64_t index) const {
        if (index >= count)
            refuse("a reference leads nowhere");
        BinaryReader entry = whole.block(tableOffset + index * offsetSize, offsetSize);
        const std::uint64_t offset = readSized(entry, offsetSize);
        if (offset < signature.size() || offset >= objectsEnd)
            refuse("an offset leads nowhere");
        return whole.block(offset, objectsEnd - offset);
    }

    PropertyList scalar(std::uint8_t marker, BinaryReader& reader) {
        budget.take(0);
        if (marker != dateMarker)
            return marker == trueMarker;
        const auto date = dateFromReferenceSeconds(std::bit_cast<double>(reader.readUInt64()));
        if (!date)
            refuse("a date is out of range");
        return *date;
    }

    /// Up to four bytes hold no sign, eight do; sixteen carry what only fits without one.
    PropertyList integer(BinaryReader& reader, std::uint8_t exponent) {
        budget.take(0);
        if (exponent > 4)
            refuse("an integer is too wide");
        const std::size_t size = std::size_t(1) << exponent;
        const std::uint64_t high = size == 16 ? reader.readUInt64() : 0;
        const std::uint64_t low = readSized(reader, std::min<std::size_t>(size, 8));
        const auto value = static_cast<std::int64_t>(low);
        if (size < 16 || (high == 0 && value >= 0) || (~high == 0 && value < 0))
            return value;
        if (high != 0)
            refuse("an integer is too large");
        return PropertyListUnsigned{low};
    }

    PropertyList real(BinaryReader& reader, std::uint8_t exponent) {
        budget.take(0);
        if (exponent == 2)
            return double(std::bit_cast<float>(reader.readUInt32()));
        if (exponent == 3)
            return std::bit_cast<double>(reader.readUInt64());
        refuse("a real number has an unknown size");
    }

    PropertyList uid(BinaryReader& reader, std::uint8_t lastByte) {
        budget.take(0);
        if (lastByte > 7)
            refuse("a reference of a keyed archive is too wide");
        return PropertyListUID{readSized(reader, lastByte + 1u)};
    }

    std::string text(BinaryReader& reader, std::uint8_t marker) {
        if (marker >> 4 == utf16Type) {
            const ByteView units = payload(reader, marker & 0xF, 2);
            return BinaryReader(units).readUTF16String(units.size() / 2);
        }
        const ByteView bytes = payload(reader, marker & 0xF, 1);
        if (std::ranges::any_of(bytes, [](std::uint8_t byte) { return byte >= 0x80; }))
            refuse("a text is not ASCII although it says so");
        return std::string(viewText(bytes));
    }

    PropertyList array(BinaryReader& reader, std::uint8_t low, std::size_t depth) {
        BinaryReader references(payload(reader, low, referenceSize));
        PropertyListArray elements;
        while (!references.atEnd())
            elements.push_back(object(readSized(references, referenceSize), depth + 1));
        return PropertyList(std::move(elements));
    }

    PropertyList dictionary(BinaryReader& reader, std::uint8_t low, std::size_t depth) {
        const ByteView references = payload(reader, low, 2 * referenceSize);
        BinaryReader keys(references.first(references.size() / 2));
        BinaryReader values(references.subspan(references.size() / 2));
        PropertyListDictionary entries;
        while (!keys.atEnd()) {
            BinaryReader key = at(readSized(keys, referenceSize));
            const std::uint8_t marker = key.readUInt8();
            if (marker >> 4 != asciiType && marker >> 4 != utf16Type)
                refuse("a key is not a text");
            entries.insert_or_assign(text(key, marker), object(readSized(values, referenceSize), depth + 1));
        }
        return PropertyList(std::move(entries));
    }

    /// The bytes of `length` units; the length stands in the marker or behind it.
    ByteView payload(BinaryReader& reader, std::uint8_t low, std::size_t unitSize) {
        std::uint64_t length = low;
        if (low == lengthFollows) {
            const std::uint8_t marker = reader.readUInt8();
            if (marker >> 4 != integerType || (marker & 0xF) > 3)
                refuse("a length is not an integer");
            length = readSized(reader, std::size_t(1) << (marker & 0xF));
        }
        if (length > reader.remaining() / unitSize)
            refuse("an object is cut off");
        budget.take(length * unitSize);
        return reader.readBytes(length * unitSize);
    }

    BinaryReader whole;
    PropertyListBudget budget;
    std::size_t offsetSize = 0;
    std::size_t referenceSize = 0;
    std::uint64_t count = 0;
    std::uint64_t top = 0;
    std::uint64_t tableOffset = 0;
    std::uint64_t objectsEnd = 0; ///< no object reads into the trailer
};

/// The smallest of 1, 2, 4 and 8 bytes that holds the number.
std::size_t sizeFor(std::uint64_t number) {
    for (const std::size_t size : {1, 2, 4})
        if (number >> (8 * size) == 0)
            return size;
    return 8;
}

void writeSized(BinaryWriter& writer, std::uint64_t value, std::size_t size) {
    for (std::size_t byte = size; byte > 0; --byte)
        writer.writeUInt8(static_cast<std::uint8_t>(value >> (8 * (byte - 1))));
}

void writeInteger(BinaryWriter& writer, std::uint64_t value, std::size_t size) {
    writer.writeUInt8(static_cast<std::uint8_t>(integerType << 4 | std::countr_zero(size)));
    writeSized(writer, value, size);
}

void writeMarker(BinaryWriter& writer, Marker type, std::size_t length) {
    if (length < lengthFollows) {
        writer.writeUInt8(static_cast<std::uint8_t>(type << 4 | length));
    } else {
        writer.writeUInt8(static_cast<std::uint8_t>(type << 4 | lengthFollows));
        writeInteger(writer, length, sizeFor(length));
    }
}

/// Encodes a value that is not a container.
struct LeafWriter {
    BinaryWriter& writer;

    void operator()(bool value) const { writer.writeUInt8(value ? trueMarker : falseMarker); }
    void operator()(std::int64_t value) const {
        const auto bits = static_cast<std::uint64_t>(value);
        writeInteger(writer, bits, value < 0 ? 8 : sizeFor(bits));
    }
    void operator()(PropertyListUnsigned number) const {
        writer.writeUInt8(integerType << 4 | 4);
        writer.writeUInt64(0);
        writer.writeUInt64(number.value);
    }
    void operator()(PropertyListUID uid) const {
        const std::size_t size = sizeFor(uid.value);
        writer.writeUInt8(static_cast<std::uint8_t>(uidType << 4 | (size - 1)));
        writeSized(writer, uid.value, size);
    }
    void operator()(double value) const {
        writer.writeUInt8(realType << 4 | 3);
        writer.writeUInt64(std::bit_cast<std::uint64_t>(value));
    }
    void operator()(Date value) const {
        writer.writeUInt8(dateMarker);
        writer.writeUInt64(std::bit_cast<std::uint64_t>(secondsSinceReferenceDate(value)));
    }
    void operator()(const Bytes& value) const {
        writeMarker(writer, dataType, value.size());
        writer.writeBytes(value);
    }
    void operator()(const std::string& value) const {
        if (std::ranges::all_of(value, [](char byte) { return (byte & 0x80) == 0; })) {
            writeMarker(writer, asciiType, value.size());
            writer.writeText(value);
            return;
        }
        const std::optional<std::u16string> units = encodeUTF16(value);
        if (!units)
            throw PropertyListError("A text of the property list is not UTF-8.");
        writeMarker(writer, utf16Type, units->size());
        writer.writeUTF16String(*units);
    }
    void operator()(const PropertyListArray&) const {}
    void operator()(const PropertyListDictionary&) const {}
};

/// Numbers the objects, equal leaves once, then writes them.
class Writer {
public:
    explicit Writer(const PropertyList& list) { add(list); }

    Bytes write() const {
        BinaryWriter output;
        const std::size_t referenceSize = sizeFor(objects.size());
        std::vector<std::uint64_t> offsets;
        output.writeText(signature);
        for (const Object& object : objects) {
            offsets.push_back(output.size());
            if (object.type == noContainer) {
                output.writeBytes(object.leaf);
                continue;
            }
            const bool isArray = object.type == arrayType;
            writeMarker(output, object.type,
                        isArray ? object.references.size() : object.references.size() / 2);
            for (const std::size_t reference : object.references)
                writeSized(output, reference, referenceSize);
        }
        const std::size_t tableOffset = output.size();
        const std::size_t offsetSize = sizeFor(tableOffset);
        for (const std::uint64_t offset : offsets)
            writeSized(output, offset, offsetSize);
        output.writeZeros(6);
        output.writeUInt8(static_cast<std::uint8_t>(offsetSize));
        output.writeUInt8(static_cast<std::uint8_t>(referenceSize));
        output.writeUInt64(objects.size());
        output.writeUInt64(0); // the top object is the first
        output.writeUInt64(tableOffset);
        return output.take();
    }

private:
    static constexpr Marker noContainer = falseMarker;

    struct Object {
        Marker type = noContainer; ///< arrayType, dictionaryType, or a leaf
        Bytes leaf;
        std::vector<std::size_t> references; ///< a dictionary's keys, then its values
    };

    std::size_t add(const PropertyList& list) {
        if (const auto* array = list.as<PropertyListArray>()) {
            const std::size_t index = append({.type = arrayType});
            for (const PropertyList& element : *array)
                refer(index, add(element));
            return index;
        }
        if (const auto* dictionary = list.as<PropertyListDictionary>()) {
            const std::size_t index = append({.type = dictionaryType});
            for (const auto& [key, value] : *dictionary)
                refer(index, addLeaf(key));
            for (const auto& [key, value] : *dictionary)
                refer(index, add(value));
            return index;
        }
        return addLeaf(list.value());
    }

    std::size_t addLeaf(const PropertyList::Value& value) {
        BinaryWriter writer;
        std::visit(LeafWriter{writer}, value);
        const auto [entry, isNew] = leaves.try_emplace(writer.bytes(), objects.size());
        return isNew ? append({.leaf = writer.take()}) : entry->second;
    }

    std::size_t append(Object object) {
        objects.push_back(std::move(object));
        return objects.size() - 1;
    }
    /// By index, since adding the object that is referred to can move the others.
    void refer(std::size_t container, std::size_t object) { objects[container].references.push_back(object); }

    std::vector<Object> objects;
    std::map<Bytes, std::size_t> leaves;
};

} // namespace

PropertyList parseBinaryPropertyList(ByteView bytes, std::size_t maxContentSize) {
    try {
        return Reader(bytes, maxContentSize).read();
    } catch (const BinaryReadError& error) {
        const bool halfCharacter = error.kind == BinaryReadError::Kind::invalidUTF16String;
        refuse(halfCharacter ? "a text holds half of a character" : "an object is cut off");
    }
}

Bytes writeBinaryPropertyList(const PropertyList& list) { return Writer(list).write(); }

} // namespace halvo
