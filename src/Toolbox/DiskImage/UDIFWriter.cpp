#include <DiskImage/UDIFWriter.h>

#include "ChunkEncoder.h"
#include "NameUUID.h"
#include "NewFile.h"
#include "UDIFFormat.h"

#include <Base/BinaryWriter.h>

#include <algorithm>

#include <libdeflate.h>

namespace halvo {
namespace {

using udif::Chunk;
using udif::chunkSectors;
using udif::sectorSize;
using udif::Table;

/// What Apple's tools ask for when they decompress zlib, in sectors.
constexpr std::uint32_t zlibBuffers = 2056;

/// Appends chunks to the data fork, in the order in which they were cut.
class DataFork {
public:
    DataFork(int file, const std::filesystem::path& path) : file(file), path(path) {}

    void append(Chunk chunk, Table& table, const udif::EncodedChunk& encoded) {
        chunk.type = encoded.type;
        chunk.offset = size;
        chunk.storedSize = encoded.bytes.size();
        if (!encoded.bytes.empty()) { // the checksum of no bytes would start again
            writeAt(file, path, size, encoded.bytes);
            checksum = libdeflate_crc32(checksum, encoded.bytes.data(), encoded.bytes.size());
            size += encoded.bytes.size();
        }
        table.chunks.push_back(chunk);
    }

    std::uint64_t size = 0;
    std::uint32_t checksum = 0;

private:
    int file;
    const std::filesystem::path& path;
};

std::uint32_t buffersNeeded(const Table& table, Compression compression) {
    if (compression == Compression::zlib)
        return zlibBuffers;
    std::uint64_t largest = 0;
    for (const Chunk& chunk : table.chunks)
        largest = std::max(largest, chunk.storedSize);
    return largest == 0 ? 0
                        : static_cast<std::uint32_t>(chunkSectors + (largest + sectorSize - 1) / sectorSize);
}

/// A table for each region, as yet without chunks.
std::vector<Table> tablesOf(const std::vector<DiskRegion>& regions, bool hasMap) {
    constexpr std::uint32_t wholeDevice = 0xFFFFFFFE;
    std::vector<Table> tables;
    for (const DiskRegion& region : regions) {
        const auto index = static_cast<std::uint32_t>(tables.size());
        tables.push_back({.name = region.name,
                          .firstSector = region.firstSector,
                          .sectorCount = region.sectorCount,
                          .descriptor = hasMap ? index : wholeDevice});
    }
    return tables;
}

std::uint32_t masterChecksum(const std::vector<Table>& tables) {
    BinaryWriter checksums;
    for (const Table& table : tables)
        checksums.writeUInt32(table.checksum);
    return libdeflate_crc32(0, checksums.bytes().data(), checksums.size());
}

/// Cuts the disk into chunks, sends them through the encoder and stores what comes back.
class Conversion {
public:
    Conversion(hfsplus::BlockSource& disk, DataFork& output, const UDIFOptions& options,
               const std::stop_token& cancellation)
        : disk(disk), output(output), encoder(options.compression, options.threads),
          cancellation(cancellation) {}

    /// Reads the table's sectors in order, with their checksum.
    template<typename Report>
    void encode(Table& table, const Report& report) {
        for (std::uint64_t sector = 0; sector < table.sectorCount;) {
            if (cancellation.stop_requested())
                throw CancelledError();
            const std::uint64_t count = std::min(chunkSectors, table.sectorCount - sector);
            Bytes plain(count * sectorSize);
            disk.read((table.firstSector + sector) * sectorSize, plain);
            table.checksum = libdeflate_crc32(table.checksum, plain.data(), plain.size());
            if (!encoder.hasRoom())
                storeNext();
            encoder.submit(std::move(plain));
            submitted.push_back({{.firstSector = sector, .sectorCount = count}, &table});
            sector += count;
            report((table.firstSector + sector) * sectorSize);
        }
    }

    void finish() {
        while (!encoder.isEmpty())
            storeNext();
    }

private:
    struct Submitted {
        Chunk chunk{};
        Table* table = nullptr;
    };

    void storeNext() {
        const udif::EncodedChunk encoded = encoder.takeNext(cancellation);
        output.append(submitted.front().chunk, *submitted.front().table, encoded);
        submitted.pop_front();
    }

    hfsplus::BlockSource& disk;
    DataFork& output;
    udif::ChunkEncoder encoder;
    std::deque<Submitted> submitted;
    const std::stop_token& cancellation;
};

} // namespace

void writeUDIF(hfsplus::BlockSource& disk, const PartitionMap& map, int file,
               const std::filesystem::path& path, const UDIFOptions& options,
               const std::function<void(std::uint64_t done, std::uint64_t total)>& progress,
               const std::stop_token& cancellation) {
    const bool hasMap = map.scheme != PartitionMap::Scheme::none;
    const std::uint64_t sectorCount = disk.size() / sectorSize;
    std::vector<Table> tables = tablesOf(diskRegions(map, sectorCount), hasMap);

    DataFork fork(file, path);
    Conversion conversion(disk, fork, options, cancellation);
    for (Table& table : tables)
        conversion.encode(table, [&](std::uint64_t done) {
            if (progress)
                progress(done, disk.size());
        });
    conversion.finish();
    for (Table& table : tables)
        table.buffersNeeded = buffersNeeded(table, options.compression);

    const Bytes list = udif::writePropertyList(tables, hasMap);
    writeAt(file, path, fork.size, list);
    writeAt(file, path, fork.size + list.size(),
            udif::writeTrailer({.dataForkSize = fork.size,
                                .propertyListOffset = fork.size,
                                .propertyListSize = list.size(),
                                .sectorCount = sectorCount,
                                .dataForkChecksum = fork.checksum,
                                .masterChecksum = masterChecksum(tables),
                                .hasPartitionMap = hasMap,
                                .segmentID = nameUUID(list).bytes()}));
}

} // namespace halvo
