#pragma once

#include <Base/Bytes.h>
#include <Base/Failure.h>

#include <cstddef>

namespace halvo {

/// A read past the end of the input. The reader stays where it was.
class BinaryReadError : public Failure {
public:
    BinaryReadError(std::size_t position, std::uint64_t wanted, std::size_t available);
};

/// Reads big-endian values from memory that it does not own. A read that does not fit throws BinaryReadError.
class BinaryReader {
public:
    explicit BinaryReader(ByteView bytes) : input(bytes) {}

    std::uint8_t readUInt8();
    std::uint16_t readUInt16();
    std::uint32_t readUInt32();
    std::uint64_t readUInt64();
    /// Borrows the next `count` bytes; they live as long as the input does.
    ByteView readBytes(std::size_t count);
    void skip(std::size_t count) { readBytes(count); }

    /// A reader over `size` bytes at `offset`, counted from the start of this input.
    BinaryReader block(std::uint64_t offset, std::uint64_t size) const;

    std::size_t position() const { return consumed; }
    std::size_t remaining() const { return input.size() - consumed; }
    bool atEnd() const { return remaining() == 0; }

private:
    template<typename Integer>
    Integer readInteger();

    ByteView input;
    std::size_t consumed = 0;
};

} // namespace halvo
