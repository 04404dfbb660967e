#pragma once

#include <DSStore/FourCC.h>

#include <cstddef>
#include <cstdint>

// The numbers of the format, shared by what reads and what writes it.
namespace halvo::dsstore {

// Container.
inline constexpr std::uint32_t fileVersion = 1;
inline constexpr FourCC fileMagic("Bud1");
inline constexpr std::uint32_t originOfOffsets = 4;    ///< byte of the file where allocator offset 0 lies
inline constexpr std::uint32_t prologueSize = 32;      ///< allocator space that no block can have
inline constexpr std::size_t prologueUnknownSize = 16; ///< bytes of the prologue that nobody interprets
inline constexpr std::uint32_t smallestSizePower = 5;
inline constexpr std::uint32_t largestSizePower = 31;
inline constexpr std::uint32_t sizePowerMask = 31;
inline constexpr std::uint32_t slotsPerPage = 256;
inline constexpr std::uint32_t smallestAllocatorPower = 12;
inline constexpr const char* treeName = "DSDB";

// Record tree.
inline constexpr std::uint32_t pageSize = 4096;
inline constexpr std::uint32_t nodeHeaderSize = 8;
inline constexpr std::uint32_t childPointerSize = 4;
inline constexpr std::uint32_t smallestRecordSize = 12; ///< empty name, type code, value of type 0
inline constexpr std::uint32_t deepestTree = 1024;
inline constexpr std::uint32_t allocatorBlockID = 0;
inline constexpr std::uint32_t treeHeaderBlockID = 1;
inline constexpr std::uint32_t firstNodeBlockID = 2;

} // namespace halvo::dsstore
