#pragma once

#include <Base/BinaryReader.h>
#include <Base/BinaryWriter.h>

namespace halvo::zip {

/// A BinaryReader whose integers are little-endian.
class LittleEndianReader {
public:
    explicit LittleEndianReader(ByteView bytes) : reader(bytes) {}
    explicit LittleEndianReader(BinaryReader input) : reader(input) {}

    std::uint16_t readUInt16() { return __builtin_bswap16(reader.readUInt16()); }
    std::uint32_t readUInt32() { return __builtin_bswap32(reader.readUInt32()); }
    std::uint64_t readUInt64() { return __builtin_bswap64(reader.readUInt64()); }
    ByteView readBytes(std::size_t count) { return reader.readBytes(count); }
    void skip(std::size_t count) { reader.skip(count); }
    std::size_t position() const { return reader.position(); }
    std::size_t remaining() const { return reader.remaining(); }

private:
    BinaryReader reader;
};

/// A BinaryWriter whose integers are little-endian.
class LittleEndianWriter {
public:
    void writeUInt8(std::uint8_t value) { writer.writeUInt8(value); }
    void writeUInt16(std::uint16_t value) { writer.writeUInt16(__builtin_bswap16(value)); }
    void writeUInt32(std::uint32_t value) { writer.writeUInt32(__builtin_bswap32(value)); }
    void writeUInt64(std::uint64_t value) { writer.writeUInt64(__builtin_bswap64(value)); }
    void writeText(std::string_view text) { writer.writeText(text); }
    void writeBytes(ByteView bytes) { writer.writeBytes(bytes); }
    const Bytes& bytes() const { return writer.bytes(); }

private:
    BinaryWriter writer;
};

} // namespace halvo::zip
