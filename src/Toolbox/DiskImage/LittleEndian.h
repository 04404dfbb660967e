#pragma once

#include <Base/Bytes.h>

#include <concepts>
#include <cstddef>
#include <cstdint>

namespace halvo {

/// The caller has checked that the value lies inside.
template<std::unsigned_integral Integer>
Integer littleEndianAt(ByteView bytes, std::size_t offset) {
    Integer value = 0;
    for (std::size_t index = sizeof(Integer); index-- > 0;)
        value = static_cast<Integer>((std::uint64_t{value} << 8) | bytes[offset + index]);
    return value;
}

template<std::unsigned_integral Integer>
void putLittleEndian(std::span<std::uint8_t> bytes, std::size_t offset, Integer value) {
    for (std::size_t index = 0; index < sizeof(Integer); ++index)
        bytes[offset + index] = static_cast<std::uint8_t>(std::uint64_t{value} >> (8 * index));
}

} // namespace halvo
