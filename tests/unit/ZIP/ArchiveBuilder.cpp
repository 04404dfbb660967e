#include "ArchiveBuilder.h"

#include <array>
#include <stdexcept>

#include <libdeflate.h>

namespace halvo {

std::string littleEndian(std::uint64_t value, int bytes) {
    std::string text;
    for (int index = 0; index < bytes; ++index)
        text += static_cast<char>(value >> (8 * index));
    return text;
}

std::string buildArchive(const std::vector<BuiltEntry>& entries) {
    std::string archive;
    std::string directory;
    for (const BuiltEntry& entry : entries) {
        const std::uint64_t offset = entry.offset.value_or(static_cast<std::uint32_t>(archive.size()));
        const std::uint64_t crc =
            entry.crc.value_or(libdeflate_crc32(0, entry.data.data(), entry.data.size()));
        const std::uint64_t compressedSize =
            entry.compressedSize.value_or(static_cast<std::uint32_t>(entry.data.size()));
        const std::uint64_t size = entry.size.value_or(static_cast<std::uint32_t>(entry.data.size()));
        const std::string sums =
            littleEndian(crc, 4) + littleEndian(compressedSize, 4) + littleEndian(size, 4);
        const std::uint16_t flags = entry.flags | (entry.hasDescriptor ? 8 : 0);
        const std::string start =
            littleEndian(flags, 2) + littleEndian(entry.method, 2) + std::string(4, '\0');
        const std::string& localName = entry.localName.value_or(entry.name);
        archive += "PK\3\4" + littleEndian(20, 2) + start +
                   (entry.hasDescriptor ? std::string(12, '\0') : sums) + littleEndian(localName.size(), 2) +
                   littleEndian(0, 2) + localName + entry.data;
        if (entry.hasDescriptor)
            archive += "PK\7\10" + sums;
        directory += "PK\1\2" + littleEndian(0x0314, 2) + littleEndian(20, 2) + start + sums +
                     littleEndian(entry.name.size(), 2) + littleEndian(entry.extra.size(), 2) +
                     std::string(6, '\0') + littleEndian(std::uint64_t{entry.mode} << 16, 4) +
                     littleEndian(offset, 4) + entry.name + entry.extra;
    }
    return archive + directory + "PK\5\6" + std::string(4, '\0') + littleEndian(entries.size(), 2) +
           littleEndian(entries.size(), 2) + littleEndian(directory.size(), 4) +
           littleEndian(archive.size(), 4) + std::string(2, '\0');
}

BuiltEntry deflatedEntry(std::string name, const std::string& data) {
    libdeflate_compressor* compressor = libdeflate_alloc_compressor(6);
    std::string stream(libdeflate_deflate_compress_bound(compressor, data.size()), '\0');
    stream.resize(
        libdeflate_deflate_compress(compressor, data.data(), data.size(), stream.data(), stream.size()));
    libdeflate_free_compressor(compressor);
    return {.name = std::move(name),
            .data = stream,
            .method = 8,
            .size = static_cast<std::uint32_t>(data.size()),
            .crc = libdeflate_crc32(0, data.data(), data.size())};
}

} // namespace halvo
