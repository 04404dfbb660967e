#include <Base/BinaryReader.h>

#include <fmt/format.h>

namespace halvo {

BinaryReadError::BinaryReadError(std::size_t position, std::uint64_t wanted, std::size_t available)
    : Failure(fmt::format("Unexpected end of data: {} bytes wanted at offset {}, {} left.", wanted, position,
                          available)) {}

ByteView BinaryReader::readBytes(std::size_t count) {
    if (count > remaining()) // not `consumed + count > size`: that sum can wrap around
        throw BinaryReadError(consumed, count, remaining());
    const ByteView bytes = input.subspan(consumed, count);
    consumed += count;
    return bytes;
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
        throw BinaryReadError(static_cast<std::size_t>(offset), size,
                              offset > input.size() ? 0 : input.size() - static_cast<std::size_t>(offset));
    return BinaryReader(input.subspan(static_cast<std::size_t>(offset), static_cast<std::size_t>(size)));
}

} // namespace halvo
