#pragma once

#include <cstdint>

/// The constants of the ZIP format (PKWARE APPNOTE 6.3), shared by writer and reader. Integers are
/// little-endian.
///
///   <archive> ::= (<local header> <data>)* <central header>* [<ZIP64 end> <ZIP64 locator>] <end>
///
/// Lengths that do not fit their 32 or 16 bits are all ones and stand in an extra field (or in the ZIP64
/// end).
namespace halvo::zip {

constexpr std::uint32_t localSignature = 0x04034B50;
constexpr std::uint32_t centralSignature = 0x02014B50;
constexpr std::uint32_t endSignature = 0x06054B50;
constexpr std::uint32_t zip64EndSignature = 0x06064B50;
constexpr std::uint32_t zip64LocatorSignature = 0x07064B50;

constexpr std::uint32_t localHeaderSize = 30; ///< without name and extra field
constexpr std::uint32_t centralHeaderSize = 46;
constexpr std::uint32_t endSize = 22; ///< without the comment
constexpr std::uint32_t zip64EndSize = 56;
constexpr std::uint32_t zip64LocatorSize = 20;

constexpr std::uint32_t saturated32 = 0xFFFFFFFF; ///< the value stands in a ZIP64 record
constexpr std::uint16_t saturated16 = 0xFFFF;

constexpr std::uint16_t zip64Extra = 0x0001;
constexpr std::uint16_t timestampExtra = 0x5455; ///< "UT", Info-ZIP's extended timestamp

constexpr std::uint16_t methodStored = 0;
constexpr std::uint16_t methodDeflated = 8;

constexpr std::uint16_t flagEncrypted = 1u << 0;
constexpr std::uint16_t flagStrongEncryption = 1u << 6;
constexpr std::uint16_t flagUTF8 = 1u << 11;
constexpr std::uint16_t flagMaskedHeaders = 1u << 13;

constexpr std::uint16_t versionPlain = 20; ///< needed for folders and deflate
constexpr std::uint16_t versionZIP64 = 45;
constexpr unsigned hostUnix = 3;    ///< upper byte of "made by": attributes hold a Unix mode
constexpr unsigned hostDarwin = 19; ///< likewise

/// The file types in a Unix mode; fixed by the format's custom, whatever this system's headers say.
constexpr std::uint32_t typeMask = 0170000;
constexpr std::uint32_t typeRegular = 0100000;
constexpr std::uint32_t typeFolder = 0040000;
constexpr std::uint32_t typeLink = 0120000;
constexpr std::uint32_t attributeDOSFolder = 0x10;

} // namespace halvo::zip
