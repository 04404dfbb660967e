#include "GUIDPartitionTable.h"

#include <Base/Unicode.h>

#include <algorithm>
#include <concepts>

#include <libdeflate.h>

namespace halvo {
namespace {

constexpr std::size_t sectorSize = 512;
constexpr std::string_view signature = "EFI PART";
constexpr std::uint32_t revision = 0x00010000;
constexpr std::uint32_t headerSize = 92;
constexpr std::size_t checksumField = 16;
constexpr std::uint32_t entryCount = 128;
constexpr std::uint32_t entrySize = 128;
constexpr std::uint64_t firstUsableSector = 34;
constexpr std::string_view hfsPlusType = "48465300-0000-11AA-AA11-00306543ECAC";

/// Integers are little-endian here, and so are the first three fields of a UUID.
class LittleEndianWriter {
public:
    template<std::unsigned_integral Integer>
    void write(Integer value) {
        for (std::size_t index = 0; index < sizeof(Integer); ++index)
            bytes.push_back(static_cast<std::uint8_t>(std::uint64_t{value} >> (8 * index)));
    }
    void write(const UUID& uuid) {
        UUID::Raw raw = uuid.bytes();
        std::reverse(raw.begin(), raw.begin() + 4);
        std::reverse(raw.begin() + 4, raw.begin() + 6);
        std::reverse(raw.begin() + 6, raw.begin() + 8);
        bytes.insert(bytes.end(), raw.begin(), raw.end());
    }
    void write(std::string_view text) { bytes.insert(bytes.end(), text.begin(), text.end()); }
    Bytes padded(std::size_t size) {
        bytes.resize(size);
        return std::move(bytes);
    }

private:
    Bytes bytes;
};

std::uint32_t crc(ByteView bytes) { return libdeflate_crc32(0, bytes.data(), bytes.size()); }

} // namespace

Bytes PartitionedDisk::protectiveMBR() const {
    constexpr std::size_t firstEntry = 446;
    LittleEndianWriter entry;
    entry.write(std::uint32_t{0x00020000}); // begins at head 0, sector 2
    entry.write(
        std::uint32_t{0xFFFFFFEE}); // the type that keeps older systems away; ends where no field can say
    entry.write(std::uint32_t{1});
    entry.write(static_cast<std::uint32_t>(std::min<std::uint64_t>(sectorCount() - 1, UINT32_MAX)));
    const Bytes partition = entry.padded(16);
    Bytes sector(sectorSize);
    std::ranges::copy(partition, sector.begin() + firstEntry);
    sector[sectorSize - 2] = 0x55;
    sector[sectorSize - 1] = 0xAA;
    return sector;
}

Bytes PartitionedDisk::entries() const {
    LittleEndianWriter entry;
    entry.write(UUID::parse(hfsPlusType).value());
    entry.write(partitionID);
    entry.write(firstSector);
    entry.write(firstSector + volumeSectors - 1);
    entry.write(std::uint64_t{0}); // attributes
    for (const char letter : std::string_view(partitionName))
        entry.write(static_cast<std::uint16_t>(letter));
    return entry.padded(std::size_t{entryCount} * entrySize);
}

Bytes PartitionedDisk::header(std::uint64_t own, std::uint64_t other, std::uint64_t entriesSector) const {
    LittleEndianWriter header;
    header.write(signature);
    header.write(revision);
    header.write(headerSize);
    header.write(std::uint64_t{0}); // the checksum, filled in below, and four zeros
    header.write(own);
    header.write(other);
    header.write(firstUsableSector);
    header.write(sectorCount() - sectorsAtEnd - 1);
    header.write(diskID);
    header.write(entriesSector);
    header.write(entryCount);
    header.write(entrySize);
    header.write(crc(entries()));
    Bytes sector = header.padded(sectorSize);
    LittleEndianWriter checksum;
    checksum.write(crc(ByteView(sector).first(headerSize)));
    std::ranges::copy(checksum.padded(4), sector.begin() + checksumField);
    return sector;
}

Bytes PartitionedDisk::header() const { return header(1, sectorCount() - 1, 2); }

Bytes PartitionedDisk::headerAtEnd() const {
    const std::uint64_t last = sectorCount() - 1;
    return header(last, 1, last - entryCount * entrySize / sectorSize);
}

} // namespace halvo
