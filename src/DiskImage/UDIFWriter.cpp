#include "UDIFWriter.h"

#include "ChunkEncoder.h"
#include "DiskReader.h"
#include "UDIFFormat.h"

#include <Base/BinaryWriter.h>
#include <Base/Failure.h>

#include <algorithm>
#include <deque>

#include <libdeflate.h>

namespace halvo {
namespace {

using udif::Chunk;
using udif::chunkSectors;
using udif::sectorSize;
using udif::Table;

std::uint32_t checksum(std::uint32_t before, ByteView bytes) {
    return bytes.empty() ? before
                         : libdeflate_crc32(before, bytes.data(), bytes.size()); // of none it starts anew
}

/// Sends chunks through the encoder and stores what comes back.
class ImageFile {
public:
    ImageFile(NewFile& file, std::uint64_t diskSize,
              const std::function<void(std::uint64_t done, std::uint64_t total)>& progress,
              const std::stop_token& cancellation)
        : file(file), diskSize(diskSize), progress(progress), cancellation(cancellation) {}

    /// Reads a region in order, with its checksum. The table stays where it is.
    void encode(const DiskRegion& region, Table& table) {
        DiskReader reader(region);
        for (std::uint64_t sector = 0; sector < table.sectorCount;) {
            if (cancellation.stop_requested())
                throw CancelledError();
            const std::uint64_t count = std::min(chunkSectors, table.sectorCount - sector);
            Bytes plain(count * sectorSize);
            reader.read(plain);
            table.checksum = checksum(table.checksum, plain);
            if (!encoder.hasRoom())
                storeNext();
            encoder.submit(std::move(plain));
            submitted.push_back({{.firstSector = sector, .sectorCount = count}, &table});
            sector += count;
        }
    }

    void finish(std::vector<Table>& tables, const UUID& segmentID) {
        while (!encoder.isEmpty())
            storeNext();
        BinaryWriter checksums;
        std::uint64_t sectors = 0;
        for (Table& table : tables) {
            table.buffersNeeded = buffersNeeded(table);
            checksums.writeUInt32(table.checksum);
            sectors += table.sectorCount;
        }
        const Bytes list = udif::writePropertyList(tables);
        file.append(list);
        file.append(udif::writeTrailer({.dataForkSize = size,
                                        .propertyListSize = list.size(),
                                        .sectorCount = sectors,
                                        .dataForkChecksum = dataChecksum,
                                        .masterChecksum = checksum(0, checksums.bytes()),
                                        .segmentID = segmentID.bytes()}));
    }

private:
    struct Submitted {
        Chunk chunk{};
        Table* table = nullptr;
    };

    void storeNext() {
        const udif::EncodedChunk encoded = encoder.takeNext(cancellation);
        auto [chunk, table] = submitted.front();
        submitted.pop_front();
        chunk.type = encoded.type;
        chunk.offset = size;
        chunk.storedSize = encoded.bytes.size();
        table->chunks.push_back(chunk);
        file.append(encoded.bytes);
        dataChecksum = checksum(dataChecksum, encoded.bytes);
        size += encoded.bytes.size();
        done += chunk.sectorCount * sectorSize;
        if (progress)
            progress(done, diskSize);
    }

    /// In sectors: what a reader must have for the largest chunk, stored and plain.
    static std::uint32_t buffersNeeded(const Table& table) {
        std::uint64_t largest = 0;
        for (const Chunk& chunk : table.chunks)
            largest = std::max(largest, chunk.storedSize);
        return largest == 0
                   ? 0
                   : static_cast<std::uint32_t>(chunkSectors + (largest + sectorSize - 1) / sectorSize);
    }

    NewFile& file;
    std::uint64_t diskSize;
    const std::function<void(std::uint64_t done, std::uint64_t total)>& progress;
    const std::stop_token& cancellation;
    udif::ChunkEncoder encoder;
    std::deque<Submitted> submitted;
    std::uint64_t size = 0; ///< of what is stored
    std::uint64_t done = 0; ///< of the disk
    std::uint32_t dataChecksum = 0;
};

} // namespace

void writeUDIF(const std::vector<DiskRegion>& regions, const UUID& segmentID, NewFile& file,
               const std::function<void(std::uint64_t done, std::uint64_t total)>& progress,
               const std::stop_token& cancellation) {
    std::vector<Table> tables;
    std::uint64_t sector = 0;
    for (const DiskRegion& region : regions) {
        tables.push_back({.name = region.name,
                          .firstSector = sector,
                          .sectorCount = region.size() / sectorSize,
                          .descriptor = static_cast<std::uint32_t>(tables.size())});
        sector += tables.back().sectorCount;
    }
    ImageFile image(file, sector * sectorSize, progress, cancellation);
    for (std::size_t index = 0; index < regions.size(); ++index)
        image.encode(regions[index], tables[index]);
    image.finish(tables, segmentID);
}

} // namespace halvo
