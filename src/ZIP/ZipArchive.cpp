#include <ZIP/ZipArchive.h>

#include "Format.h"
#include "LittleEndian.h"

#include <Base/Text.h>
#include <Base/Unicode.h>

#include <memory>
#include <new>
#include <optional>

#include <libdeflate.h>

namespace halvo {
namespace {

using namespace zip;

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
    place = {.count = end.readUInt64(), .countIsModulo = false};
    place.size = end.readUInt64();
    place.offset = end.readUInt64();
    if (disks != 0 || countHere != place.count)
        throw ZIPError(ZIPError::Unsupported{"", "several volumes"});
    return offset;
}

DirectoryPlace findDirectory(ByteView archive, std::uint64_t endOffset) {
    LittleEndianReader end(archive.subspan(endOffset + 4));
    const std::uint32_t disks = end.readUInt32();
    const std::uint16_t countHere = end.readUInt16();
    // Some writers with more than 65,535 entries just let the count wrap.
    DirectoryPlace place{.count = end.readUInt16(), .countIsModulo = true};
    place.size = end.readUInt32();
    place.offset = end.readUInt32();
    const std::uint64_t directoryEnd = readZIP64End(archive, endOffset, place);
    if (place.countIsModulo && (disks != 0 || countHere != place.count))
        throw ZIPError(ZIPError::Unsupported{"", "several volumes"});
    if (place.offset > directoryEnd || place.size != directoryEnd - place.offset)
        failDamaged("", "the list of entries is not where it should be");
    return place;
}

/// Fills in the values that did not fit their 32-bit fields.
void readZIP64Extra(ByteView extraField, ZipEntry& entry) {
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

ZipEntry readCentralHeader(LittleEndianReader& directory) {
    if (directory.readUInt32() != centralSignature)
        failDamaged("", "the list of entries breaks off");
    const unsigned host = directory.readUInt16() >> 8;
    directory.skip(2); // version needed
    const std::uint16_t flags = directory.readUInt16();
    ZipEntry entry{.isEncrypted = (flags & (flagEncrypted | flagStrongEncryption | flagMaskedHeaders)) != 0};
    entry.method = directory.readUInt16();
    directory.skip(4); // time and date
    entry.crc = directory.readUInt32();
    entry.compressedSize = directory.readUInt32();
    entry.size = directory.readUInt32();
    const std::uint16_t nameSize = directory.readUInt16();
    const std::uint16_t extraSize = directory.readUInt16();
    const std::uint16_t commentSize = directory.readUInt16();
    directory.skip(4); // disk, internal attributes
    const std::uint32_t mode = directory.readUInt32() >> 16;
    entry.isLink = (host == hostUnix || host == hostDarwin) && (mode & typeMask) == typeLink;
    entry.offset = directory.readUInt32();
    entry.name = viewText(directory.readBytes(nameSize));
    readZIP64Extra(directory.readBytes(extraSize), entry);
    directory.skip(commentSize);
    return entry;
}

std::vector<ZipEntry> readDirectory(ByteView archive, const std::filesystem::path& path) {
    const auto endOffset = findEnd(archive);
    if (!endOffset)
        throw ZIPError(ZIPError::NotAnArchive{path.string()});
    const DirectoryPlace place = findDirectory(archive, *endOffset);
    LittleEndianReader directory(BinaryReader(archive).block(place.offset, place.size));
    std::vector<ZipEntry> entries;
    while (directory.remaining() > 0)
        entries.push_back(readCentralHeader(directory));
    if (place.countIsModulo ? (entries.size() & saturated16) != place.count : entries.size() != place.count)
        failDamaged("", "the number of entries is not what it should be");
    return entries;
}

/// The compressed bytes, behind the local header. Its copy of the name must agree: readers that believe
/// different copies would see different archives.
ByteView findData(ByteView archive, const ZipEntry& entry) {
    BinaryReader whole(archive);
    whole.seek(entry.offset);
    LittleEndianReader header(whole);
    if (header.readUInt32() != localSignature)
        failDamaged(entry.name, "its header is not where it should be");
    header.skip(22);
    const std::uint16_t nameSize = header.readUInt16();
    const std::uint16_t extraSize = header.readUInt16();
    if (viewText(header.readBytes(nameSize)) != entry.name)
        failDamaged(entry.name, "it has two different names");
    header.skip(extraSize);
    return header.readBytes(entry.compressedSize);
}

Bytes inflated(ByteView data, const ZipEntry& entry) {
    const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> decompressor(
        libdeflate_alloc_decompressor(), &libdeflate_free_decompressor);
    if (!decompressor)
        throw std::bad_alloc();
    Bytes content(entry.size);
    std::size_t used = 0;
    // Without a place for the size that came out, it has to be exactly that of `content`.
    const libdeflate_result result = libdeflate_deflate_decompress_ex(
        decompressor.get(), data.data(), data.size(), content.data(), content.size(), &used, nullptr);
    if (result == LIBDEFLATE_SHORT_OUTPUT)
        failDamaged(entry.name, "it is shorter than it should be");
    if (result == LIBDEFLATE_INSUFFICIENT_SPACE)
        failDamaged(entry.name, "it is longer than it should be");
    if (result != LIBDEFLATE_SUCCESS || used != data.size())
        failDamaged(entry.name, "its compressed data are not valid");
    return content;
}

/// Turns a read past the end into the failure that names the archive or the entry.
template<typename Read>
auto withinBounds(const std::string& entry, Read read) {
    try {
        return read();
    } catch (const BinaryReadError& error) {
        failDamaged(entry, "a record breaks off (" + error.description() + ")");
    }
}

} // namespace

std::string ZIPErrorCases::quoted(const std::string& name) {
    std::string text = repairedUTF8(name);
    for (char& character : text)
        if (static_cast<unsigned char>(character) < 0x20 || character == 0x7F)
            character = '?';
    return "\"" + text + "\"";
}

ZipArchive::ZipArchive(const std::filesystem::path& archive)
    : file(archive), all(withinBounds("", [&] { return readDirectory(file.bytes(), archive); })) {}

Bytes ZipArchive::read(const ZipEntry& entry, std::uint64_t limit) const {
    if (entry.isEncrypted)
        throw ZIPError(ZIPError::Encrypted{entry.name});
    if (entry.method != methodStored && entry.method != methodDeflated)
        throw ZIPError(
            ZIPError::Unsupported{entry.name, "compression method " + std::to_string(entry.method)});
    if (entry.size > limit)
        throw ZIPError(ZIPError::TooLarge{entry.name, formatByteCount(limit)});
    const ByteView data = withinBounds(entry.name, [&] { return findData(file.bytes(), entry); });
    if (entry.method == methodStored && data.size() != entry.size)
        failDamaged(entry.name, "it has two different sizes");
    Bytes content = entry.method == methodStored ? Bytes(data.begin(), data.end()) : inflated(data, entry);
    if (libdeflate_crc32(0, content.data(), content.size()) != entry.crc)
        failDamaged(entry.name, "its checksum is wrong");
    return content;
}

} // namespace halvo
