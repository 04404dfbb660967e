#include <DiskImage/DiskImageWriter.h>

#include "CatalogTree.h"
#include "GUIDPartitionTable.h"
#include "NewFile.h"
#include "UDIFFormat.h"
#include "UDIFWriter.h"
#include "VolumeLayout.h"

#include <algorithm>

#include <openssl/sha.h>

namespace halvo {
namespace {

using Digest = std::array<std::uint8_t, SHA256_DIGEST_LENGTH>;

/// The catalog holds names, dates and sizes: what tells one volume from another.
Digest digestOf(const VolumeContents& contents) {
    Digest digest{};
    const Bytes catalog = hfsplus::buildCatalog(contents, 0);
    SHA256(catalog.data(), catalog.size(), digest.data());
    return digest;
}

/// A UUID of version 8 that follows from the digest.
UUID identifier(Digest digest, std::uint8_t purpose) {
    digest[0] ^= purpose;
    SHA256(Digest(digest).data(), digest.size(), digest.data());
    UUID::Raw raw{};
    std::copy_n(digest.begin(), raw.size(), raw.begin());
    raw[6] = static_cast<std::uint8_t>((raw[6] & 0x0F) | 0x80);
    raw[8] = static_cast<std::uint8_t>((raw[8] & 0x3F) | 0x80);
    return UUID(raw);
}

std::uint64_t volumeIdentifier(const UUID& uuid) {
    std::uint64_t value = 0;
    for (std::size_t index = 0; index < sizeof value; ++index)
        value = value << 8 | uuid.bytes()[index];
    return value;
}

/// The disk in the regions into which macOS divides it.
std::vector<DiskRegion> regionsOf(const PartitionedDisk& disk, std::vector<DiskPiece> volume) {
    std::vector<DiskRegion> regions;
    const auto add = [&](const std::string& name, const std::string& type, std::vector<DiskPiece> pieces) {
        regions.push_back(
            {name + " (" + type + " : " + std::to_string(regions.size()) + ")", std::move(pieces)});
    };
    const auto piece = [](Bytes bytes) {
        std::vector<DiskPiece> pieces;
        pieces.push_back({.size = bytes.size(), .bytes = std::move(bytes)});
        return pieces;
    };
    add("Protective Master Boot Record", "MBR", piece(disk.protectiveMBR()));
    add("GPT Header", "Primary GPT Header", piece(disk.header()));
    add("GPT Partition Data", "Primary GPT Table", piece(disk.entries()));
    add("", "Apple_Free", piece(Bytes(6 * udif::sectorSize)));
    add(PartitionedDisk::partitionName, "Apple_HFS", std::move(volume));
    add("GPT Partition Data", "Backup GPT Table", piece(disk.entries()));
    add("GPT Header", "Backup GPT Header", piece(disk.headerAtEnd()));
    return regions;
}

} // namespace

bool writeDiskImage(const VolumeContents& contents, const std::filesystem::path& image,
                    const std::function<void(std::uint64_t done, std::uint64_t total)>& progress,
                    const std::stop_token& cancellation) {
    const Digest digest = digestOf(contents);
    DiskRegion volume{.pieces = layOutVolume(contents, volumeIdentifier(identifier(digest, 'v')))};
    const PartitionedDisk disk{.volumeSectors = volume.size() / udif::sectorSize,
                               .diskID = identifier(digest, 'd'),
                               .partitionID = identifier(digest, 'p')};
    NewFile file(image);
    writeUDIF(regionsOf(disk, std::move(volume.pieces)), identifier(digest, 's'), file, progress,
              cancellation);
    return file.publish();
}

} // namespace halvo
