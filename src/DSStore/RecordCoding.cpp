#include "RecordCoding.h"

#include "Fail.h"

#include <Base/Unicode.h>

#include <algorithm>
#include <cmath>

namespace halvo::dsstore {
namespace {

constexpr FourCC nullCode(0);
constexpr FourCC boolCode("bool");
constexpr FourCC uint16Code("shor");
constexpr FourCC uint32Code("long");
constexpr FourCC uint64Code("comp");
constexpr FourCC timestampCode("dutc");
constexpr FourCC fourCCCode("type");
constexpr FourCC stringCode("ustr");
constexpr FourCC dataCode("blob");
constexpr FourCC bookmarkCode("book");

constexpr double secondsFrom1904To1970 = 2082844800;
constexpr double unitsPerSecond = 65536;
constexpr double twoToThe64 = 18446744073709551616.0;

bool readBool(BinaryReader& reader) {
    const std::uint8_t byte = reader.readUInt8();
    if (byte > 1)
        failCorrupted("Invalid bool value");
    return byte == 1;
}

std::uint16_t readShort(BinaryReader& reader) {
    const std::uint32_t number = reader.readUInt32();
    if (number > UINT16_MAX)
        failCorrupted("Invalid shor value");
    return static_cast<std::uint16_t>(number);
}

Timestamp readTimestamp(BinaryReader& reader) {
    const double seconds = static_cast<double>(reader.readUInt64()) / unitsPerSecond;
    return Timestamp(Timestamp::duration(seconds - secondsFrom1904To1970));
}

std::string readText(BinaryReader& reader, const char* tooLong) {
    const std::uint32_t length = reader.readUInt32();
    if (length > reader.remaining() / 2)
        failCorrupted(tooLong);
    return reader.readUTF16String(length);
}

Bytes readBlob(BinaryReader& reader, const char* tooLong) {
    const std::uint32_t length = reader.readUInt32();
    if (length > reader.remaining())
        failCorrupted(tooLong);
    const ByteView bytes = reader.readBytes(length);
    return {bytes.begin(), bytes.end()};
}

Value readValue(BinaryReader& reader, FourCC code) {
    if (code == nullCode)
        return {};
    if (code == boolCode)
        return {readBool(reader)};
    if (code == uint16Code)
        return {readShort(reader)};
    if (code == uint32Code)
        return {reader.readUInt32()};
    if (code == uint64Code)
        return {reader.readUInt64()};
    if (code == timestampCode)
        return {readTimestamp(reader)};
    if (code == fourCCCode)
        return {FourCC(reader.readUInt32())};
    if (code == stringCode)
        return {readText(reader, "String exceeds remaining data")};
    if (code == dataCode)
        return {readBlob(reader, "Blob exceeds remaining data")};
    if (code == bookmarkCode)
        return {Bookmark{readBlob(reader, "Bookmark exceeds remaining data")}};
    throw Error(Error::UnknownDataType{code.stringValue()});
}

std::uint64_t rawTimestamp(Timestamp moment) {
    const double seconds = moment.time_since_epoch().count() + secondsFrom1904To1970;
    const double units = seconds * unitsPerSecond;
    if (!std::isfinite(seconds) || seconds < 0 || units > twoToThe64)
        failWriting("Date is outside supported range");
    // The largest raw values of a file round to 2^64 in floating point; they keep the largest integer.
    return units == twoToThe64 ? UINT64_MAX : static_cast<std::uint64_t>(units);
}

Bytes plistBytes(const PlistValue& value) {
    try {
        return value.binary();
    } catch (const PropertyListError& error) {
        throw Error(Error::PlistSerializationFailed{error.description()});
    }
}

/// Whether a reference of a keyed archive stands anywhere in the list: such lists are kept as bytes.
bool holdsReference(const PlistValue& plist) {
    if (const PropertyListArray* array = plist.as<PropertyListArray>())
        return std::ranges::any_of(*array, holdsReference);
    if (const PropertyListDictionary* dictionary = plist.as<PropertyListDictionary>())
        return std::ranges::any_of(*dictionary,
                                   [](const auto& entry) { return holdsReference(entry.second); });
    return plist.as<PropertyListUID>() != nullptr;
}

/// Appends the type and the payload of a value, one overload for each kind.
struct ValueWriter {
    BinaryWriter& writer;

    void code(FourCC type) { writer.writeUInt32(type.rawValue); }

    void sized(FourCC type, ByteView bytes, const char* tooLarge) {
        if (bytes.size() > UINT32_MAX)
            failWriting(tooLarge);
        code(type);
        writer.writeUInt32(static_cast<std::uint32_t>(bytes.size()));
        writer.writeBytes(bytes);
    }

    void operator()(std::monostate) { code(nullCode); }
    void operator()(bool value) {
        code(boolCode);
        writer.writeUInt8(value ? 1 : 0);
    }
    void operator()(std::uint16_t value) {
        code(uint16Code);
        writer.writeUInt32(value); // four bytes, although two would do
    }
    void operator()(std::uint32_t value) {
        code(uint32Code);
        writer.writeUInt32(value);
    }
    void operator()(std::uint64_t value) {
        code(uint64Code);
        writer.writeUInt64(value);
    }
    void operator()(Timestamp value) {
        code(timestampCode);
        writer.writeUInt64(rawTimestamp(value));
    }
    void operator()(FourCC value) {
        code(fourCCCode);
        code(value);
    }
    void operator()(const std::string& value) {
        const std::optional<std::u16string> units = encodeUTF16(value);
        if (!units)
            failWriting("String is not valid UTF-8");
        if (units->size() > UINT32_MAX)
            failWriting("String is too long");
        code(stringCode);
        writer.writeUInt32(static_cast<std::uint32_t>(units->size()));
        writer.writeUTF16String(*units);
    }
    void operator()(const Bytes& value) { sized(dataCode, value, "Blob is too large"); }
    void operator()(const Bookmark& value) { sized(bookmarkCode, value.bytes, "Bookmark is too large"); }
    void operator()(const PlistValue& value) { sized(dataCode, plistBytes(value), "Plist is too large"); }
};

} // namespace

Record readRecord(BinaryReader& reader) {
    std::string filename = readText(reader, "Filename exceeds remaining data");
    const RecordType type{FourCC(reader.readUInt32())};
    if (type.code() == FourCC())
        failCorrupted("Invalid record type");
    const FourCC valueCode(reader.readUInt32());
    return {.filename = std::move(filename), .type = type, .value = readValue(reader, valueCode)};
}

void recognisePropertyList(Value& value) {
    const Bytes* bytes = value.as<Bytes>();
    if (!bytes)
        return;
    const std::string_view text = viewText(*bytes);
    if (!text.starts_with("bplist") && !text.starts_with("<?xml"))
        return;
    // Shared texts and data could make far more of a list than the page that it stands in.
    const std::size_t maxContentSize = 16 * bytes->size();
    try {
        PlistValue plist = PlistValue::parse(*bytes, maxContentSize);
        if (!holdsReference(plist))
            value.held = std::move(plist);
    } catch (const PropertyListError&) {
        // Bytes that only look like a property list are kept as they are.
    }
}

void writeRecord(BinaryWriter& writer, const Record& record) {
    if (record.filename.find('\0') != std::string::npos)
        failWriting("Filename contains a null character");
    const std::optional<std::u16string> units = encodeUTF16(record.filename);
    if (!units)
        failWriting("Filename is not valid UTF-8");
    if (units->size() > UINT32_MAX)
        failWriting("Filename is too long");
    if (record.type.code() == FourCC())
        failWriting("Invalid record type"); // no reader takes it
    writer.writeUInt32(static_cast<std::uint32_t>(units->size()));
    writer.writeUTF16String(*units);
    writer.writeUInt32(record.type.code().rawValue);
    std::visit(ValueWriter{writer}, record.value.held);
}

} // namespace halvo::dsstore
