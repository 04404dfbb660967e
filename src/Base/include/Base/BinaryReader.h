#pragma once

#include <Base/Bytes.h>
#include <Base/Failure.h>

#include <cstddef>

namespace halvo {

/// A read that the input does not allow. The reader stays where it was.
class BinaryReadError : public Failure {
public:
    enum class Kind { unexpectedEnd, invalidOffset, invalidSkip, invalidASCIIString, invalidUTF16String };
    explicit BinaryReadError(Kind kind);
    Kind kind;
};

/// Reads big-endian values from memory that it does not own. What does not fit throws BinaryReadError.
class BinaryReader {
public:
    explicit BinaryReader(ByteView bytes) : input(bytes) {}

    std::uint8_t readUInt8();
    std::uint16_t readUInt16();
    std::uint32_t readUInt32();
    std::uint64_t readUInt64();
    /// Borrows the next `count` bytes; they live as long as the input does.
    ByteView readBytes(std::size_t count);
    /// Throws `invalidASCIIString` for a byte above 127.
    std::string readASCIIString(std::size_t length);
    /// UTF-16 of that many code units, as UTF-8. Throws `invalidUTF16String` for an unpaired surrogate.
    std::string readUTF16String(std::size_t codeUnits);
    /// Moving exactly to the end is allowed. Throws `invalidSkip`.
    void skip(std::size_t count);
    /// Moves to an offset from the start; the end itself is allowed. Throws `invalidOffset`.
    void seek(std::uint64_t offset);

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
