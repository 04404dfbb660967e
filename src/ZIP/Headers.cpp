#include "Headers.h"

#include "Format.h"

#include <Base/Unicode.h>

#include <algorithm>
#include <ctime>
#include <limits>

namespace halvo::zip {
namespace {

/// Files from here on get room for 64-bit sizes in their local header, which is written before the data. The
/// margin covers what deflate adds to data that does not shrink.
constexpr std::uint64_t largeFileSize = 0xFF000000;

bool isLarge(const TreeEntry& entry) {
    return entry.kind == TreeEntry::Kind::file && entry.identity.size >= largeFileSize;
}

/// Date in the upper half, time in the lower, in UTC; the format spans 1980 to 2107 in steps of two seconds.
std::uint32_t dosTime(std::int64_t seconds) {
    constexpr std::int64_t earliest = 315'532'800; // 1980-01-01
    constexpr std::int64_t latest = 4'354'819'198; // 2107-12-31 23:59:58
    const std::time_t time = static_cast<std::time_t>(std::clamp(seconds, earliest, latest));
    std::tm parts{};
    ::gmtime_r(&time, &parts);
    const auto bits = [](int value, int shift) { return static_cast<std::uint32_t>(value) << shift; };
    return bits(parts.tm_year - 80, 25) | bits(parts.tm_mon + 1, 21) | bits(parts.tm_mday, 16) |
           bits(parts.tm_hour, 11) | bits(parts.tm_min, 5) | bits(parts.tm_sec / 2, 0);
}

std::uint16_t flagsFor(const TreeEntry& entry) {
    const bool isASCII = std::ranges::all_of(entry.name, [](char byte) { return (byte & 0x80) == 0; });
    return !isASCII && isValidUTF8(entry.name) ? flagUTF8 : 0;
}

void writeTimestamp(LittleEndianWriter& extra, std::int64_t seconds) {
    using Limits = std::numeric_limits<std::int32_t>;
    if (seconds < Limits::min() || seconds > Limits::max())
        return;
    extra.writeUInt16(timestampExtra);
    extra.writeUInt16(5);
    extra.writeUInt8(1); // the modification time and no other
    extra.writeUInt32(static_cast<std::uint32_t>(seconds));
}

std::uint32_t saturated(std::uint64_t value) {
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(value, saturated32));
}

/// The file's type and permissions as a Unix mode in the upper half, the DOS folder bit in the lower. Links
/// have no permissions of their own; 0755 is what macOS gives them.
std::uint32_t externalAttributes(const TreeEntry& entry) {
    switch (entry.kind) {
    case TreeEntry::Kind::folder: return (typeFolder | entry.permissions) << 16 | attributeDOSFolder;
    case TreeEntry::Kind::link: return (typeLink | 0755u) << 16;
    case TreeEntry::Kind::file: break;
    }
    return (typeRegular | entry.permissions) << 16;
}

} // namespace

Bytes localHeader(const TreeEntry& entry, const Content& content) {
    LittleEndianWriter extra;
    if (isLarge(entry)) {
        extra.writeUInt16(zip64Extra);
        extra.writeUInt16(16);
        extra.writeUInt64(content.size);
        extra.writeUInt64(content.compressedSize);
    }
    writeTimestamp(extra, entry.identity.modifiedSeconds);

    LittleEndianWriter header;
    header.writeUInt32(localSignature);
    header.writeUInt16(isLarge(entry) ? versionZIP64 : versionPlain);
    header.writeUInt16(flagsFor(entry));
    header.writeUInt16(content.method);
    header.writeUInt32(dosTime(entry.identity.modifiedSeconds));
    header.writeUInt32(content.crc);
    header.writeUInt32(isLarge(entry) ? saturated32 : saturated(content.compressedSize));
    header.writeUInt32(isLarge(entry) ? saturated32 : saturated(content.size));
    header.writeUInt16(static_cast<std::uint16_t>(entry.name.size()));
    header.writeUInt16(static_cast<std::uint16_t>(extra.bytes().size()));
    header.writeText(entry.name);
    header.writeBytes(extra.bytes());
    return header.bytes();
}

void writeCentralHeader(LittleEndianWriter& header, const TreeEntry& entry, const Content& content,
                        std::uint64_t offset) {
    LittleEndianWriter large; // in this order, each value only when its own field cannot hold it
    for (const std::uint64_t value : {content.size, content.compressedSize, offset})
        if (value >= saturated32)
            large.writeUInt64(value);
    LittleEndianWriter extra;
    if (!large.bytes().empty()) {
        extra.writeUInt16(zip64Extra);
        extra.writeUInt16(static_cast<std::uint16_t>(large.bytes().size()));
        extra.writeBytes(large.bytes());
    }
    writeTimestamp(extra, entry.identity.modifiedSeconds);

    const std::uint16_t version = large.bytes().empty() && !isLarge(entry) ? versionPlain : versionZIP64;
    header.writeUInt32(centralSignature);
    header.writeUInt16(static_cast<std::uint16_t>(hostUnix << 8 | version));
    header.writeUInt16(version);
    header.writeUInt16(flagsFor(entry));
    header.writeUInt16(content.method);
    header.writeUInt32(dosTime(entry.identity.modifiedSeconds));
    header.writeUInt32(content.crc);
    header.writeUInt32(saturated(content.compressedSize));
    header.writeUInt32(saturated(content.size));
    header.writeUInt16(static_cast<std::uint16_t>(entry.name.size()));
    header.writeUInt16(static_cast<std::uint16_t>(extra.bytes().size()));
    header.writeUInt16(0); // no comment
    header.writeUInt16(0); // disk
    header.writeUInt16(0); // internal attributes
    header.writeUInt32(externalAttributes(entry));
    header.writeUInt32(saturated(offset));
    header.writeText(entry.name);
    header.writeBytes(extra.bytes());
}

Bytes endRecords(std::uint64_t count, std::uint64_t directoryOffset, std::uint64_t directorySize) {
    LittleEndianWriter end;
    if (count >= saturated16 || directoryOffset >= saturated32 || directorySize >= saturated32) {
        end.writeUInt32(zip64EndSignature);
        end.writeUInt64(zip64EndSize - 12); // what follows this field
        end.writeUInt16(static_cast<std::uint16_t>(hostUnix << 8 | versionZIP64));
        end.writeUInt16(versionZIP64);
        end.writeUInt32(0); // this disk, and the directory's
        end.writeUInt32(0);
        end.writeUInt64(count); // here, and in all
        end.writeUInt64(count);
        end.writeUInt64(directorySize);
        end.writeUInt64(directoryOffset);
        end.writeUInt32(zip64LocatorSignature);
        end.writeUInt32(0);
        end.writeUInt64(directoryOffset + directorySize);
        end.writeUInt32(1); // disks in all
    }
    const auto shortCount = static_cast<std::uint16_t>(std::min<std::uint64_t>(count, saturated16));
    end.writeUInt32(endSignature);
    end.writeUInt32(0); // this disk, and the directory's
    end.writeUInt16(shortCount);
    end.writeUInt16(shortCount);
    end.writeUInt32(saturated(directorySize));
    end.writeUInt32(saturated(directoryOffset));
    end.writeUInt16(0); // no comment
    return end.bytes();
}

} // namespace halvo::zip
