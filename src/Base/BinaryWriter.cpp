#include <Base/BinaryWriter.h>

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

void BinaryWriter::writeZeros(std::size_t count) { output.resize(output.size() + count); }

} // namespace halvo
