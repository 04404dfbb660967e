#include "UDIFFormat.h"

#include <Base/BinaryReader.h>
#include <Base/BinaryWriter.h>
#include <Base/PropertyList.h>
#include <DiskImage/DiskImageError.h>

#include <algorithm>

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
constexpr std::uint32_t volumeImage = 2;
constexpr std::size_t chunkEntrySize = 40;
constexpr std::size_t propertyListOffsetField = 216;
constexpr std::size_t sectorCountField = 492;
constexpr std::size_t tableChunkCountField = 200;
/// Room for 2^52 bytes: more than any disk, and small enough that no sum here overflows.
constexpr std::uint64_t maxSectorCount = std::uint64_t{1} << 43;
/// The property list of an image of 2 TB with chunks of 1 MiB is about 110 MB; that of an app about 50 kB.
constexpr std::size_t maxPropertyListContent = 64u << 20;

[[noreturn]] void damaged(std::string what) {
    throw DiskImageError(DiskImageError::Damaged{std::move(what)});
}

std::string_view textOf(ByteView bytes) { return viewText(bytes); }

void writeChecksum(BinaryWriter& writer, std::uint32_t value) {
    writer.writeUInt32(checksumCRC32);
    writer.writeUInt32(checksumBits);
    writer.writeUInt32(value);
    writer.writeZeros(checksumField - sizeof value);
}

Chunk readChunk(BinaryReader& reader) {
    Chunk chunk;
    chunk.type = static_cast<ChunkType>(reader.readUInt32());
    reader.skip(4); // a comment
    chunk.firstSector = reader.readUInt64();
    chunk.sectorCount = reader.readUInt64();
    chunk.offset = reader.readUInt64();
    chunk.storedSize = reader.readUInt64();
    return chunk;
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

} // namespace

bool isTrailer(ByteView bytes) {
    return bytes.size() >= trailerSize && textOf(bytes).starts_with(trailerMagic);
}

Trailer readTrailer(ByteView bytes) try {
    Trailer trailer;
    BinaryReader reader(bytes.first(std::min(bytes.size(), trailerSize)));
    if (textOf(reader.readBytes(trailerMagic.size())) != trailerMagic)
        damaged("there is no trailer");
    if (const auto version = reader.readUInt32(); version != trailerVersion)
        damaged("the trailer has the unknown version " + std::to_string(version));
    reader.seek(24);
    trailer.dataForkOffset = reader.readUInt64();
    trailer.dataForkSize = reader.readUInt64();
    reader.seek(propertyListOffsetField);
    trailer.propertyListOffset = reader.readUInt64();
    trailer.propertyListSize = reader.readUInt64();
    reader.seek(sectorCountField - 4);
    trailer.hasPartitionMap = reader.readUInt32() != volumeImage;
    trailer.sectorCount = reader.readUInt64();
    if (trailer.sectorCount > maxSectorCount)
        damaged("the trailer claims an impossible size");
    return trailer;
} catch (const BinaryReadError&) {
    damaged("the trailer is cut short");
}

Bytes writeTrailer(const Trailer& trailer) {
    BinaryWriter writer;
    writer.writeText(trailerMagic);
    writer.writeUInt32(trailerVersion);
    writer.writeUInt32(trailerSize);
    writer.writeUInt32(flattened);
    writer.writeUInt64(0); // running data fork offset
    writer.writeUInt64(trailer.dataForkOffset);
    writer.writeUInt64(trailer.dataForkSize);
    writer.writeZeros(16); // resource fork
    writer.writeUInt32(1); // segment 1
    writer.writeUInt32(1); // of 1
    writer.writeBytes(trailer.segmentID);
    writeChecksum(writer, trailer.dataForkChecksum);
    writer.writeUInt64(trailer.propertyListOffset);
    writer.writeUInt64(trailer.propertyListSize);
    writer.writeZeros(64 + 16 + 40); // reserved, code signature, reserved
    writeChecksum(writer, trailer.masterChecksum);
    writer.writeUInt32(trailer.hasPartitionMap ? deviceImage : volumeImage);
    writer.writeUInt64(trailer.sectorCount);
    writer.writePadding(trailerSize);
    return writer.take();
}

Table readTable(ByteView bytes) try {
    Table table;
    BinaryReader reader(bytes);
    if (textOf(reader.readBytes(tableMagic.size())) != tableMagic || reader.readUInt32() != tableVersion)
        damaged("a table of chunks has another form");
    table.firstSector = reader.readUInt64();
    table.sectorCount = reader.readUInt64();
    table.dataOffset = reader.readUInt64();
    table.buffersNeeded = reader.readUInt32();
    table.descriptor = reader.readUInt32();
    reader.seek(tableChunkCountField - checksumField);
    table.checksum = reader.readUInt32();
    reader.seek(tableChunkCountField);
    const std::uint32_t count = reader.readUInt32();
    if (count > reader.remaining() / chunkEntrySize)
        damaged("a table of chunks is cut short");
    if (table.firstSector > maxSectorCount || table.sectorCount > maxSectorCount)
        damaged("a table of chunks claims impossible sectors");
    std::uint64_t covered = 0;
    for (std::uint32_t index = 0; index < count; ++index) {
        const Chunk chunk = readChunk(reader);
        if (chunk.type == ChunkType::terminator)
            break;
        if (chunk.type == ChunkType::comment || chunk.sectorCount == 0)
            continue;
        if (chunk.firstSector != covered || chunk.sectorCount > table.sectorCount - covered)
            damaged("the chunks of a table do not follow each other");
        covered += chunk.sectorCount;
        table.chunks.push_back(chunk);
    }
    if (covered != table.sectorCount)
        damaged("the chunks of a table do not cover its sectors");
    return table;
} catch (const BinaryReadError&) {
    damaged("a table of chunks is cut short");
}

Bytes writeTable(const Table& table) {
    BinaryWriter writer;
    writer.writeText(tableMagic);
    writer.writeUInt32(tableVersion);
    writer.writeUInt64(table.firstSector);
    writer.writeUInt64(table.sectorCount);
    writer.writeUInt64(table.dataOffset);
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

std::vector<Table> readTables(ByteView propertyList) {
    const PropertyList list = PropertyList::parse(propertyList, maxPropertyListContent);
    const PropertyList* fork = list.find("resource-fork");
    const auto* entries = fork ? fork->find<PropertyListArray>("blkx") : nullptr;
    if (!entries)
        damaged("its property list has no tables of chunks");
    std::vector<Table> tables;
    for (const PropertyList& entry : *entries) {
        const auto* data = entry.find<Bytes>("Data");
        if (!data)
            damaged("a table of chunks has no data");
        tables.push_back(readTable(*data));
        if (const auto* name = entry.find<std::string>("Name"))
            tables.back().name = *name;
    }
    return tables;
}

Bytes writePropertyList(const std::vector<Table>& tables, bool hasPartitionMap) {
    PropertyListArray entries;
    int number = hasPartitionMap ? -1 : 0;
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
