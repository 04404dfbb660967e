#pragma once

#include <Base/Bytes.h>
#include <Base/Failure.h>

namespace halvo {

/// A text that the encoding asked for cannot hold; nothing was written.
class BinaryWriteError : public Failure {
public:
    using Failure::Failure;
};

/// Appends big-endian values to a buffer that it owns.
class BinaryWriter {
public:
    void writeUInt8(std::uint8_t value) { output.push_back(value); }
    void writeUInt16(std::uint16_t value);
    void writeUInt32(std::uint32_t value);
    void writeUInt64(std::uint64_t value);
    void writeBytes(ByteView bytes);
    void writeText(std::string_view text) { writeBytes(viewBytes(text)); }
    /// Throws BinaryWriteError for a byte above 127.
    void writeASCIIString(std::string_view text);
    /// UTF-16 code units without a length before them. Throws BinaryWriteError for text that is not UTF-8.
    void writeUTF16String(std::string_view text);
    void writeUTF16String(std::u16string_view codeUnits);
    void writeZeros(std::size_t count);
    /// Appends zeros until `size()` is `offset`; nothing when it is already there or past it.
    void writePadding(std::size_t offset);

    void reserve(std::size_t capacity) { output.reserve(capacity); }
    std::size_t size() const { return output.size(); }
    const Bytes& bytes() const { return output; }
    Bytes take() { return std::move(output); }

private:
    template<typename Integer>
    void writeInteger(Integer value);

    Bytes output;
};

} // namespace halvo
