#pragma once

#include <Base/Bytes.h>

namespace halvo {

/// Appends big-endian values to a buffer that it owns.
class BinaryWriter {
public:
    void writeUInt8(std::uint8_t value) { output.push_back(value); }
    void writeUInt16(std::uint16_t value);
    void writeUInt32(std::uint32_t value);
    void writeUInt64(std::uint64_t value);
    void writeBytes(ByteView bytes);
    void writeText(std::string_view text) { writeBytes(viewBytes(text)); }
    void writeZeros(std::size_t count);

    std::size_t size() const { return output.size(); }
    const Bytes& bytes() const { return output; }
    Bytes take() { return std::move(output); }

private:
    template<typename Integer>
    void writeInteger(Integer value);

    Bytes output;
};

} // namespace halvo
