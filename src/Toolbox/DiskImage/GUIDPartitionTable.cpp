#include "GUIDPartitionTable.h"

#include "LittleEndian.h"

#include <Base/Unicode.h>
#include <DiskImage/DiskImageError.h>

#include <algorithm>
#include <array>

#include <libdeflate.h>

namespace halvo::gpt {
namespace {

constexpr std::size_t sectorSize = 512;
constexpr std::string_view signature = "EFI PART";
constexpr std::uint32_t revision = 0x00010000;
constexpr std::uint32_t headerSize = 92;
constexpr std::uint32_t entryCount = 128;
constexpr std::uint32_t entrySize = 128;
constexpr std::size_t nameUnits = 36;

enum HeaderField : std::size_t {
    revisionField = 8,
    headerSizeField = 12,
    headerChecksumField = 16,
    ownSectorField = 24,
    otherSectorField = 32,
    firstUsableField = 40,
    lastUsableField = 48,
    diskIDField = 56,
    entriesSectorField = 72,
    entryCountField = 80,
    entrySizeField = 84,
    entriesChecksumField = 88,
};
enum EntryField : std::size_t {
    identifierField = 16,
    firstSectorField = 32,
    lastSectorField = 40,
    nameField = 56
};

UUID known(std::string_view text) { return UUID::parse(text).value(); }

struct TypeName {
    UUID type;
    std::string_view name;
};
const std::array<TypeName, 5> typeNames{{
    {known("48465300-0000-11AA-AA11-00306543ECAC"), "Apple_HFS"},
    {known("7C3457EF-0000-11AA-AA11-00306543ECAC"), "Apple_APFS"},
    {known("426F6F74-0000-11AA-AA11-00306543ECAC"), "Apple_Boot"},
    {known("C12A7328-F81F-11D2-BA4B-00A0C93EC93B"), "C12A7328-F81F-11D2-BA4B-00A0C93EC93B"},
    {known("EBD0A0A2-B9E5-4433-87C0-68B6B72699C7"), "Microsoft Basic Data"},
}};

[[noreturn]] void damaged() {
    throw DiskImageError(DiskImageError::Damaged{"its partition map contradicts itself"});
}

/// The first three fields of a UUID are little-endian here.
UUID::Raw swapped(UUID::Raw raw) {
    std::reverse(raw.begin(), raw.begin() + 4);
    std::reverse(raw.begin() + 4, raw.begin() + 6);
    std::reverse(raw.begin() + 6, raw.begin() + 8);
    return raw;
}

UUID uuidAt(ByteView bytes, std::size_t offset) {
    UUID::Raw raw{};
    std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), raw.size(), raw.begin());
    return UUID(swapped(raw));
}

void putUUID(std::span<std::uint8_t> bytes, std::size_t offset, const UUID& value) {
    const UUID::Raw raw = swapped(value.bytes());
    std::copy(raw.begin(), raw.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
}

std::string nameAt(ByteView entry) {
    std::u16string units;
    for (std::size_t index = 0; index < nameUnits; ++index) {
        const auto unit = littleEndianAt<std::uint16_t>(entry, nameField + 2 * index);
        if (unit == 0)
            break;
        units.push_back(unit);
    }
    return decodeUTF16(units).value_or("");
}

std::uint32_t crc(ByteView bytes) { return libdeflate_crc32(0, bytes.data(), bytes.size()); }

std::uint32_t headerChecksum(Bytes sector) {
    putLittleEndian<std::uint32_t>(sector, headerChecksumField, 0);
    return crc(ByteView(sector).first(headerSize));
}

} // namespace

const UUID hfsPlusType = typeNames[0].type;

std::string typeName(const UUID& type) {
    for (const TypeName& entry : typeNames)
        if (entry.type == type)
            return std::string(entry.name);
    return type.string();
}

bool isHeader(ByteView sector) { return viewText(sector).starts_with(signature); }

Table read(hfsplus::BlockSource& disk) {
    Bytes sector(sectorSize);
    disk.read(headerSector * sectorSize, sector);
    const auto entriesAt = littleEndianAt<std::uint64_t>(sector, entriesSectorField);
    if (littleEndianAt<std::uint32_t>(sector, headerSizeField) != headerSize ||
        headerChecksum(sector) != littleEndianAt<std::uint32_t>(sector, headerChecksumField) ||
        littleEndianAt<std::uint32_t>(sector, entrySizeField) != entrySize ||
        littleEndianAt<std::uint32_t>(sector, entryCountField) > entryCount ||
        entriesAt >= disk.size() / sectorSize)
        damaged();
    Bytes block(std::size_t{littleEndianAt<std::uint32_t>(sector, entryCountField)} * entrySize);
    disk.read(entriesAt * sectorSize, block);
    if (crc(block) != littleEndianAt<std::uint32_t>(sector, entriesChecksumField))
        damaged();
    Table table{.diskID = uuidAt(sector, diskIDField)};
    for (std::size_t offset = 0; offset < block.size(); offset += entrySize) {
        const ByteView entry = ByteView(block).subspan(offset, entrySize);
        if (uuidAt(entry, 0) == UUID())
            continue;
        table.entries.push_back({.type = uuidAt(entry, 0),
                                 .identifier = uuidAt(entry, identifierField),
                                 .firstSector = littleEndianAt<std::uint64_t>(entry, firstSectorField),
                                 .lastSector = littleEndianAt<std::uint64_t>(entry, lastSectorField),
                                 .name = nameAt(entry)});
        if (table.entries.back().lastSector < table.entries.back().firstSector)
            damaged();
    }
    return table;
}

Bytes protectiveMBR(std::uint64_t sectorCount) {
    constexpr std::size_t firstEntry = 446;
    Bytes sector(sectorSize);
    sector[firstEntry + 2] = 2;    // begins at head 0, sector 2
    sector[firstEntry + 4] = 0xEE; // the type that keeps older systems away
    for (std::size_t index = 5; index < 8; ++index)
        sector[firstEntry + index] = 0xFF; // ends where heads and sectors cannot say
    putLittleEndian<std::uint32_t>(sector, firstEntry + 8, 1);
    putLittleEndian(sector, firstEntry + 12,
                    static_cast<std::uint32_t>(std::min<std::uint64_t>(sectorCount - 1, UINT32_MAX)));
    sector[sectorSize - 2] = 0x55;
    sector[sectorSize - 1] = 0xAA;
    return sector;
}

Bytes entriesBlock(const Table& table) {
    Bytes block(std::size_t{entryCount} * entrySize);
    std::span<std::uint8_t> entry(block);
    for (const Entry& partition : table.entries) {
        putUUID(entry, 0, partition.type);
        putUUID(entry, identifierField, partition.identifier);
        putLittleEndian(entry, firstSectorField, partition.firstSector);
        putLittleEndian(entry, lastSectorField, partition.lastSector);
        const std::u16string name = encodeUTF16(partition.name).value_or(u"").substr(0, nameUnits);
        for (std::size_t index = 0; index < name.size(); ++index)
            putLittleEndian<std::uint16_t>(entry, nameField + 2 * index, name[index]);
        entry = entry.subspan(entrySize);
    }
    return block;
}

Bytes header(const Table& table, std::uint64_t sectorCount, std::uint64_t own, std::uint64_t other) {
    Bytes sector(sectorSize);
    std::copy(signature.begin(), signature.end(), sector.begin());
    putLittleEndian(sector, revisionField, revision);
    putLittleEndian(sector, headerSizeField, headerSize);
    putLittleEndian(sector, ownSectorField, own);
    putLittleEndian(sector, otherSectorField, other);
    putLittleEndian(sector, firstUsableField, firstUsableSector);
    putLittleEndian(sector, lastUsableField, sectorCount - sectorsAtEnd - 1);
    putUUID(sector, diskIDField, table.diskID);
    putLittleEndian(sector, entriesSectorField, own < other ? entriesSector : own - entriesSectors);
    putLittleEndian(sector, entryCountField, entryCount);
    putLittleEndian(sector, entrySizeField, entrySize);
    putLittleEndian(sector, entriesChecksumField, crc(entriesBlock(table)));
    putLittleEndian(sector, headerChecksumField, headerChecksum(sector));
    return sector;
}

} // namespace halvo::gpt
