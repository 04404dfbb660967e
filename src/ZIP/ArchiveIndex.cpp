#include "ArchiveIndex.h"

#include "Format.h"
#include "LittleEndian.h"

#include <Base/Text.h>
#include <Base/Unicode.h>

#include <algorithm>
#include <optional>

namespace halvo::zip {
namespace {

/// What file systems take.
constexpr std::size_t longestPath = 4096;
constexpr std::size_t longestComponent = 255;

struct DirectoryPlace {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::uint64_t count = 0;
    bool countIsModulo = false; ///< only its lower 16 bits are known
};

[[noreturn]] void failDamaged(std::string entry, std::string reason) {
    throw ZIPError(ZIPError::Damaged{std::move(entry), std::move(reason)});
}

/// The end record closes the file, but for a comment of up to 64 KiB.
std::optional<std::uint64_t> findEnd(ByteView archive) {
    for (std::uint64_t comment = 0; comment <= saturated16 && endSize + comment <= archive.size();
         ++comment) {
        const std::uint64_t offset = archive.size() - endSize - comment;
        LittleEndianReader reader(archive.subspan(offset));
        if (reader.readUInt32() != endSignature)
            continue;
        reader.skip(16);
        if (reader.readUInt16() == comment)
            return offset;
    }
    return std::nullopt;
}

/// Replaces `place` by what the ZIP64 records before the end record say, if there are any, and gives the
/// offset of the first end record.
std::uint64_t readZIP64End(ByteView archive, std::uint64_t endOffset, DirectoryPlace& place) {
    if (endOffset < zip64LocatorSize)
        return endOffset;
    LittleEndianReader locator(archive.subspan(endOffset - zip64LocatorSize));
    if (locator.readUInt32() != zip64LocatorSignature)
        return endOffset;
    locator.skip(4);
    const std::uint64_t offset = locator.readUInt64();
    LittleEndianReader end(BinaryReader(archive).block(offset, zip64EndSize));
    if (end.readUInt32() != zip64EndSignature || offset + zip64EndSize > endOffset - zip64LocatorSize)
        failDamaged("", "the ZIP64 end record is not where it should be");
    end.skip(12); // its size, made by, needed
    const std::uint64_t disks = end.readUInt64();
    const std::uint64_t countHere = end.readUInt64();
    place.count = end.readUInt64();
    place.size = end.readUInt64();
    place.offset = end.readUInt64();
    place.countIsModulo = false;
    if (disks != 0 || countHere != place.count)
        throw ZIPError(ZIPError::Unsupported{"", "several volumes"});
    return offset;
}

DirectoryPlace findDirectory(ByteView archive, std::uint64_t endOffset) {
    LittleEndianReader end(archive.subspan(endOffset + 4));
    const std::uint32_t disks = end.readUInt32();
    const std::uint16_t countHere = end.readUInt16();
    DirectoryPlace place;
    place.count = end.readUInt16();
    place.size = end.readUInt32();
    place.offset = end.readUInt32();
    place.countIsModulo = true; // some writers with more than 65,535 entries just let it wrap
    const std::uint64_t directoryEnd = readZIP64End(archive, endOffset, place);
    if (place.countIsModulo && (disks != 0 || countHere != place.count))
        throw ZIPError(ZIPError::Unsupported{"", "several volumes"});
    if (place.offset > directoryEnd || place.size != directoryEnd - place.offset)
        failDamaged("", "the list of entries is not where it should be");
    return place;
}

/// Fills in the values that did not fit their 32-bit fields.
void readZIP64Extra(ByteView extraField, ArchiveEntry& entry) {
    LittleEndianReader extra(extraField);
    while (extra.remaining() >= 4) {
        const std::uint16_t tag = extra.readUInt16();
        const std::uint16_t size = extra.readUInt16();
        LittleEndianReader field(extra.readBytes(size));
        if (tag != zip64Extra)
            continue;
        for (std::uint64_t* value : {&entry.size, &entry.compressedSize, &entry.offset})
            if (*value == saturated32)
                *value = field.readUInt64();
        return;
    }
}

/// The name as a path below the folder. `.` and empty components go: some writers put `./` in front.
std::string safePath(const std::string& name) {
    const auto refuse = [&name](const char* reason) { throw ZIPError(ZIPError::UnsafeName{name, reason}); };
    if (!isValidUTF8(name))
        refuse("is not UTF-8");
    if (name.find('\0') != std::string::npos)
        refuse("holds a zero byte");
    if (name.find('\\') != std::string::npos)
        refuse("holds a backslash");
    if (name.starts_with('/'))
        refuse("is absolute");
    if (name.size() > longestPath)
        refuse("is too long");
    std::string path;
    for (const std::string& component : split(name, '/')) {
        if (component == "..")
            refuse("leads out of the folder");
        if (component.size() > longestComponent)
            refuse("is too long");
        if (component.empty() || component == ".")
            continue;
        if (!path.empty())
            path += '/';
        path += component;
    }
    return path;
}

ArchiveEntry::Kind kindOf(const std::string& name, std::uint32_t mode) {
    const bool endsInSlash = name.ends_with('/');
    switch (mode & typeMask) {
    case 0: return endsInSlash ? ArchiveEntry::Kind::folder : ArchiveEntry::Kind::file;
    case typeFolder: return ArchiveEntry::Kind::folder;
    case typeLink:
        if (!endsInSlash)
            return ArchiveEntry::Kind::link;
        break;
    case typeRegular:
        if (!endsInSlash)
            return ArchiveEntry::Kind::file;
        break;
    default: throw ZIPError(ZIPError::Unsupported{name, "a socket, a pipe or a device"});
    }
    failDamaged(name, "the name is a folder's, the type is not");
}

ArchiveEntry readCentralHeader(LittleEndianReader& directory) {
    if (directory.readUInt32() != centralSignature)
        failDamaged("", "the list of entries breaks off");
    const unsigned host = directory.readUInt16() >> 8;
    directory.skip(2); // version needed
    const std::uint16_t flags = directory.readUInt16();
    ArchiveEntry entry;
    entry.method = directory.readUInt16();
    directory.skip(4); // time and date
    entry.crc = directory.readUInt32();
    entry.compressedSize = directory.readUInt32();
    entry.size = directory.readUInt32();
    const std::uint16_t nameSize = directory.readUInt16();
    const std::uint16_t extraSize = directory.readUInt16();
    const std::uint16_t commentSize = directory.readUInt16();
    const std::uint16_t disk = directory.readUInt16();
    directory.skip(2); // internal attributes
    const std::uint32_t attributes = directory.readUInt32();
    entry.offset = directory.readUInt32();
    entry.storedName = viewText(directory.readBytes(nameSize));
    readZIP64Extra(directory.readBytes(extraSize), entry);
    directory.skip(commentSize);

    entry.path = safePath(entry.storedName);
    if ((flags & (flagEncrypted | flagStrongEncryption | flagMaskedHeaders)) != 0)
        throw ZIPError(ZIPError::Encrypted{entry.storedName});
    if (disk != 0 && disk != saturated16)
        throw ZIPError(ZIPError::Unsupported{entry.storedName, "several volumes"});
    const std::uint32_t mode = host == hostUnix || host == hostDarwin ? attributes >> 16 : 0;
    entry.kind = kindOf(entry.storedName, mode);
    entry.permissions = mode & 0777;
    if (entry.kind == ArchiveEntry::Kind::folder && entry.size != 0)
        failDamaged(entry.storedName, "a folder has content");
    if (entry.kind != ArchiveEntry::Kind::folder && entry.path.empty())
        throw ZIPError(ZIPError::UnsafeName{entry.storedName, "is empty"});
    return entry;
}

/// Sets each entry's limit. Entries that share bytes are how a small archive claims to hold a huge one.
void requireSeparateData(std::vector<ArchiveEntry>& entries, std::uint64_t directoryOffset) {
    std::ranges::sort(entries, {}, &ArchiveEntry::offset);
    for (std::size_t index = 0; index < entries.size(); ++index) {
        ArchiveEntry& entry = entries[index];
        entry.limit = index + 1 < entries.size() ? entries[index + 1].offset : directoryOffset;
        const std::uint64_t header = localHeaderSize + entry.storedName.size();
        if (entry.offset > entry.limit || entry.limit - entry.offset < header ||
            entry.limit - entry.offset - header < entry.compressedSize)
            failDamaged(entry.storedName, "its data overlap with other data");
    }
}

void requireDistinctPaths(const std::vector<ArchiveEntry>& entries) {
    for (std::size_t index = 1; index < entries.size(); ++index) {
        const ArchiveEntry& previous = entries[index - 1];
        const std::string& path = entries[index].path;
        const bool isBelow = path.starts_with(previous.path) && path.size() > previous.path.size() &&
                             path[previous.path.size()] == '/';
        if (path == previous.path || (isBelow && previous.kind != ArchiveEntry::Kind::folder))
            throw ZIPError(ZIPError::Conflict{previous.path});
    }
}

} // namespace

bool pathPrecedes(std::string_view left, std::string_view right) {
    const auto rank = [](char byte) { return byte == '/' ? 0 : static_cast<unsigned char>(byte) + 1; };
    return std::ranges::lexicographical_compare(left, right, {}, rank, rank);
}

std::vector<ArchiveEntry> readIndex(ByteView archive, std::uint64_t entryLimit,
                                    const std::string& archiveName) {
    const auto endOffset = findEnd(archive);
    if (!endOffset)
        throw ZIPError(ZIPError::NotAnArchive{archiveName});
    try {
        const DirectoryPlace place = findDirectory(archive, *endOffset);
        LittleEndianReader directory(BinaryReader(archive).block(place.offset, place.size));
        std::vector<ArchiveEntry> entries;
        while (directory.remaining() > 0) {
            if (entries.size() == entryLimit)
                throw ZIPError(
                    ZIPError::TooLarge{"it has more than " + std::to_string(entryLimit) + " entries"});
            entries.push_back(readCentralHeader(directory));
        }
        if (place.countIsModulo ? (entries.size() & saturated16) != place.count
                                : entries.size() != place.count)
            failDamaged("", "the number of entries is not what it should be");
        requireSeparateData(entries, place.offset);
        std::erase_if(entries, [](const ArchiveEntry& entry) { return entry.path.empty(); }); // "./"
        std::ranges::sort(entries, pathPrecedes, &ArchiveEntry::path);
        requireDistinctPaths(entries);
        return entries;
    } catch (const BinaryReadError& error) {
        failDamaged("", "a record breaks off (" + error.description() + ")");
    }
}

} // namespace halvo::zip
