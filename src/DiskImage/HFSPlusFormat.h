#pragma once

#include <algorithm>
#include <cstdint>

// HFS Plus as Apple's Technical Note TN1150 describes it. All integers are big-endian.
//
//   <volume>      ::= <1024 zeros> <header> ... <header again> <512 zeros>
//   <header>      ::= <facts> <fork of bitmap> <of extents tree> <of catalog> <of attributes tree> <of
//   startup file> <fork>        ::= <size:u64> <clump:u32> <blocks:u32> (<first block:u32> <count:u32>){8}
//   <node>        ::= <next:u32> <previous:u32> <kind:s8> <height:u8> <records:u16> <0:u16> <record>* ...
//                     <end of records:u16> <offset:u16>*          the offsets backwards from the node's end
//   <catalog key> ::= <length:u16> <parent:u32> <units:u16> <UTF-16>
namespace halvo::hfsplus {

constexpr std::uint64_t blockSize = 4096; ///< of the volumes that are written
constexpr std::uint64_t headerOffset = 1024;
constexpr std::uint64_t alternateHeaderDistance = 1024; ///< from the volume's end
constexpr std::size_t headerSize = 512;
constexpr std::uint16_t signatureHFSPlus = 0x482B; // "H+"
constexpr std::uint32_t volumeUnmounted = 1u << 8;
constexpr std::uint32_t unusedNodesAreZero = 1u << 31;

constexpr std::size_t extentsPerRecord = 8;
constexpr std::size_t nodeDescriptorSize = 14;
constexpr std::uint8_t leafNode = 0xFF; // -1
constexpr std::uint8_t indexNode = 0;
constexpr std::uint8_t headerNode = 1;

constexpr std::uint16_t longestCatalogKey = 516;
constexpr std::uint16_t longestAttributesKey = 266;
constexpr std::uint16_t extentsKey = 10;
constexpr std::uint32_t bigKeys = 2;
constexpr std::uint32_t variableIndexKeys = 4;

constexpr std::uint16_t folderRecord = 1;
constexpr std::uint16_t fileRecord = 2;
constexpr std::uint16_t folderThread = 3;
constexpr std::uint16_t fileThread = 4;
constexpr std::uint16_t threadExists = 2;
constexpr std::uint16_t hasCustomIconFlag = 0x0400; ///< in Finder flags

constexpr std::uint32_t rootParentID = 1;

constexpr std::uint32_t linkType = 0x736C6E6B;    // "slnk"
constexpr std::uint32_t linkCreator = 0x72686170; // "rhap"
constexpr std::uint64_t longestTarget = 1024;     ///< of a symbolic link, bytes

constexpr std::uint16_t modeFolder = 0040000;
constexpr std::uint16_t modeFile = 0100000;
constexpr std::uint16_t modeLink = 0120000;

constexpr std::int64_t secondsBefore1970 = 2'082'844'800; ///< from 1904, where dates count from

/// Seconds since 1970, clamped to what dates here reach: 1904 to 2040.
constexpr std::int64_t representable(std::int64_t seconds) {
    return std::clamp<std::int64_t>(seconds, -secondsBefore1970, UINT32_MAX - secondsBefore1970);
}

} // namespace halvo::hfsplus
