#include <Base/BinaryWriter.h>

#include <Base/Unicode.h>

#include <algorithm>

namespace halvo {

template<typename Integer>
void BinaryWriter::writeInteger(Integer value) {
    for (std::size_t index = sizeof(Integer); index-- > 0;)
        output.push_back(static_cast<std::uint8_t>(value >> (8 * index)));
}

void BinaryWriter::writeUInt16(std::uint16_t value) { writeInteger(value); }
void BinaryWriter::writeUInt32(std::uint32_t value) { writeInteger(value); }
void BinaryWriter::writeUInt64(std::uint64_t value) { writeInteger(value); }

void BinaryWriter::writeBytes(ByteView bytes) { output.insert(output.end(), bytes.begin(), bytes.end()); }

void BinaryWriter::writeASCIIString(std::string_view text) {
    if (std::ranges::any_of(viewBytes(text), [](std::uint8_t byte) { return byte > 127; }))
        throw BinaryWriteError("Invalid ASCII string");
    writeText(text);
}

void BinaryWriter::writeUTF16String(std::string_view text) {
    const std::optional<std::u16string> units = encodeUTF16(text);
    if (!units)
        throw BinaryWriteError("Invalid UTF-8 string");
    writeUTF16String(*units);
}

void BinaryWriter::writeUTF16String(std::u16string_view codeUnits) {
    for (const char16_t unit : codeUnits)
        writeUInt16(unit);
}

void BinaryWriter::writePadding(std::size_t offset) {
    if (offset > output.size())
        output.resize(offset);
}

void BinaryWriter::writeZeros(std::size_t count) { output.resize(output.size() + count); }

} // namespace halvo
