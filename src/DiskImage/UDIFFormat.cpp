#include "UDIFFormat.h"

#include <Base/BinaryWriter.h>
#include <Base/PropertyList.h>

namespace halvo::udif {
namespace {

constexpr std::string_view trailerMagic = "koly";
constexpr std::string_view tableMagic = "mish";
constexpr std::uint32_t trailerVersion = 4;
constexpr std::uint32_t tableVersion = 1;
constexpr std::uint32_t flattened = 1;
constexpr std::uint32_t checksumCRC32 = 2;
constexpr std::uint32_t checksumBits = 32;
constexpr std::size_t checksumField = 128;
constexpr std::uint32_t deviceImage = 1;

void writeChecksum(BinaryWriter& writer, std::uint32_t value) {
    writer.writeUInt32(checksumCRC32);
    writer.writeUInt32(checksumBits);
    writer.writeUInt32(value);
    writer.writeZeros(checksumField - sizeof value);
}

void writeChunk(BinaryWriter& writer, const Chunk& chunk) {
    writer.writeUInt32(static_cast<std::uint32_t>(chunk.type));
    writer.writeUInt32(0);
    writer.writeUInt64(chunk.firstSector);
    writer.writeUInt64(chunk.sectorCount);
    writer.writeUInt64(chunk.offset);
    writer.writeUInt64(chunk.storedSize);
}

/// The record `plst` that every image of Apple's has: two flags in 1032 bytes.
Bytes partitionListRecord() {
    Bytes record(1032);
    record[517] = 1;
    record[519] = 1;
    return record;
}

PropertyListDictionary resource(std::string number, std::string name, Bytes data) {
    return {{"Attributes", std::string("0x0050")},
            {"ID", std::move(number)},
            {"Name", std::move(name)},
            {"Data", std::move(data)}};
}

Bytes writeTable(const Table& table) {
    BinaryWriter writer;
    writer.writeText(tableMagic);
    writer.writeUInt32(tableVersion);
    writer.writeUInt64(table.firstSector);
    writer.writeUInt64(table.sectorCount);
    writer.writeUInt64(0); // where the data fork begins
    writer.writeUInt32(table.buffersNeeded);
    writer.writeUInt32(table.descriptor);
    writer.writeZeros(24);
    writeChecksum(writer, table.checksum);
    writer.writeUInt32(static_cast<std::uint32_t>(table.chunks.size() + 1));
    for (const Chunk& chunk : table.chunks)
        writeChunk(writer, chunk);
    const std::uint64_t end =
        table.chunks.empty() ? 0 : table.chunks.back().offset + table.chunks.back().storedSize;
    writeChunk(writer, {.type = ChunkType::terminator, .firstSector = table.sectorCount, .offset = end});
    return writer.take();
}

} // namespace

Bytes writeTrailer(const Trailer& trailer) {
    BinaryWriter writer;
    writer.writeText(trailerMagic);
    writer.writeUInt32(trailerVersion);
    writer.writeUInt32(trailerSize);
    writer.writeUInt32(flattened);
    writer.writeUInt64(0); // running data fork offset
    writer.writeUInt64(0); // data fork offset
    writer.writeUInt64(trailer.dataForkSize);
    writer.writeZeros(16); // resource fork
    writer.writeUInt32(1); // segment 1
    writer.writeUInt32(1); // of 1
    writer.writeBytes(trailer.segmentID);
    writeChecksum(writer, trailer.dataForkChecksum);
    writer.writeUInt64(trailer.dataForkSize); // where the property list begins
    writer.writeUInt64(trailer.propertyListSize);
    writer.writeZeros(64 + 16 + 40); // reserved, code signature, reserved
    writeChecksum(writer, trailer.masterChecksum);
    writer.writeUInt32(deviceImage);
    writer.writeUInt64(trailer.sectorCount);
    writer.writePadding(trailerSize);
    return writer.take();
}

Bytes writePropertyList(const std::vector<Table>& tables) {
    PropertyListArray entries;
    int number = -1; // as macOS counts where there is a partition map
    for (const Table& table : tables) {
        PropertyListDictionary entry = resource(std::to_string(number++), table.name, writeTable(table));
        entry.insert({"CFName", table.name});
        entries.push_back(std::move(entry));
    }
    const PropertyListArray partitionList{resource("0", "", partitionListRecord())};
    const PropertyListDictionary fork{{"blkx", std::move(entries)}, {"plst", partitionList}};
    return PropertyList(PropertyListDictionary{{"resource-fork", fork}}).xml();
}

} // namespace halvo::udif
