#include <Base/BinaryReader.h>

#include <Base/Unicode.h>

#include <algorithm>

namespace halvo {
namespace {

using Kind = BinaryReadError::Kind;

const char* sentence(Kind kind) {
    switch (kind) {
    case Kind::unexpectedEnd: return "Unexpected end of data";
    case Kind::invalidOffset: return "Invalid seek offset";
    case Kind::invalidSkip: return "Invalid skip length";
    case Kind::invalidASCIIString: return "Invalid ASCII string";
    case Kind::invalidUTF16String: return "Invalid UTF-16 string";
    }
    return "";
}

} // namespace

BinaryReadError::BinaryReadError(Kind kind) : Failure(sentence(kind)), kind(kind) {}

ByteView BinaryReader::readBytes(std::size_t count) {
    if (count > remaining()) // not `consumed + count > size`: that sum can wrap around
        throw BinaryReadError(Kind::unexpectedEnd);
    const ByteView bytes = input.subspan(consumed, count);
    consumed += count;
    return bytes;
}

std::string BinaryReader::readASCIIString(std::size_t length) {
    BinaryReader ahead = *this;
    const ByteView bytes = ahead.readBytes(length);
    if (std::ranges::any_of(bytes, [](std::uint8_t byte) { return byte > 127; }))
        throw BinaryReadError(Kind::invalidASCIIString);
    *this = ahead;
    return std::string(viewText(bytes));
}

std::string BinaryReader::readUTF16String(std::size_t codeUnits) {
    if (codeUnits > SIZE_MAX / 2)
        throw BinaryReadError(Kind::invalidUTF16String);
    BinaryReader ahead = *this;
    const ByteView bytes = ahead.readBytes(2 * codeUnits);
    std::u16string units(codeUnits, u'\0');
    for (std::size_t index = 0; index < codeUnits; ++index)
        units[index] = static_cast<char16_t>(bytes[2 * index] << 8 | bytes[2 * index + 1]);
    std::optional<std::string> text = decodeUTF16(units);
    if (!text)
        throw BinaryReadError(Kind::invalidUTF16String);
    *this = ahead;
    return *std::move(text);
}

void BinaryReader::skip(std::size_t count) {
    if (count > remaining())
        throw BinaryReadError(Kind::invalidSkip);
    consumed += count;
}

void BinaryReader::seek(std::uint64_t offset) {
    if (offset > input.size())
        throw BinaryReadError(Kind::invalidOffset);
    consumed = static_cast<std::size_t>(offset);
}

template<typename Integer>
Integer BinaryReader::readInteger() {
    std::uint64_t value = 0;
    for (const std::uint8_t byte : readBytes(sizeof(Integer)))
        value = (value << 8) | byte;
    return static_cast<Integer>(value);
}

std::uint8_t BinaryReader::readUInt8() { return readInteger<std::uint8_t>(); }
std::uint16_t BinaryReader::readUInt16() { return readInteger<std::uint16_t>(); }
std::uint32_t BinaryReader::readUInt32() { return readInteger<std::uint32_t>(); }
std::uint64_t BinaryReader::readUInt64() { return readInteger<std::uint64_t>(); }

BinaryReader BinaryReader::block(std::uint64_t offset, std::uint64_t size) const {
    if (offset > input.size() || size > input.size() - offset)
        throw BinaryReadError(Kind::unexpectedEnd);
    return BinaryReader(input.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(size)));
}

} // namespace halvo
