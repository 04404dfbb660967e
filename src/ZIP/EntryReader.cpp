#include "EntryReader.h"

#include "Format.h"
#include "LittleEndian.h"

#include <algorithm>
#include <memory>
#include <new>

#include <libdeflate.h>
#include <zlib.h>

namespace halvo::zip {
namespace {

constexpr std::size_t pieceSize = std::size_t{256} << 10;

[[noreturn]] void failDamaged(const ArchiveEntry& entry, std::string reason) {
    throw ZIPError(ZIPError::Damaged{entry.path, std::move(reason)});
}

/// The compressed bytes, behind the local header. Its copy of the name must agree: readers that believe
/// different copies would see different archives.
ByteView findData(ByteView archive, const ArchiveEntry& entry) {
    LittleEndianReader header(archive.subspan(entry.offset, entry.limit - entry.offset));
    if (header.readUInt32() != localSignature)
        failDamaged(entry, "its header is not where it should be");
    header.skip(22);
    const std::uint16_t nameSize = header.readUInt16();
    const std::uint16_t extraSize = header.readUInt16();
    if (nameSize > header.remaining() || viewText(header.readBytes(nameSize)) != entry.storedName)
        failDamaged(entry, "it has two different names");
    if (extraSize > header.remaining() || entry.compressedSize > header.remaining() - extraSize)
        failDamaged(entry, "its data overlap with other data");
    header.skip(extraSize);
    return header.readBytes(static_cast<std::size_t>(entry.compressedSize));
}

/// Passes pieces on and sums them up.
class CheckedSink {
public:
    CheckedSink(const ArchiveEntry& entry, const std::stop_token& cancellation,
                const std::function<void(ByteView)>& sink)
        : entry(entry), cancellation(cancellation), sink(sink) {}

    void take(ByteView piece) {
        if (cancellation.stop_requested())
            throw CancelledError();
        if (piece.size() > entry.size - received)
            failDamaged(entry, "it is longer than it should be");
        received += piece.size();
        crc = libdeflate_crc32(crc, piece.data(), piece.size());
        sink(piece);
    }

    void finish() const {
        if (received != entry.size)
            failDamaged(entry, "it is shorter than it should be");
        if (crc != entry.crc)
            failDamaged(entry, "its checksum is wrong");
    }

private:
    const ArchiveEntry& entry;
    const std::stop_token& cancellation;
    const std::function<void(ByteView)>& sink;
    std::uint64_t received = 0;
    std::uint32_t crc = 0;
};

void inflateInto(CheckedSink& sink, ByteView data, const ArchiveEntry& entry) {
    z_stream decoder{};
    if (inflateInit2(&decoder, -MAX_WBITS) != Z_OK)
        throw std::bad_alloc();
    const std::unique_ptr<z_stream, int (*)(z_stream*)> end(&decoder, inflateEnd);
    Bytes piece(pieceSize);
    for (int result = Z_OK; result != Z_STREAM_END;) {
        if (decoder.avail_in == 0 && !data.empty()) { // zlib counts input in 32 bits
            const ByteView next = data.first(std::min<std::size_t>(data.size(), std::size_t{1} << 30));
            decoder.next_in = const_cast<Bytef*>(next.data());
            decoder.avail_in = static_cast<uInt>(next.size());
            data = data.subspan(next.size());
        }
        decoder.next_out = piece.data();
        decoder.avail_out = static_cast<uInt>(piece.size());
        result = inflate(&decoder, Z_NO_FLUSH);
        if (result == Z_MEM_ERROR)
            throw std::bad_alloc();
        if (result != Z_OK && result != Z_STREAM_END)
            failDamaged(entry, "its compressed data are not valid");
        sink.take(ByteView(piece).first(piece.size() - decoder.avail_out));
    }
    if (decoder.avail_in != 0 || !data.empty())
        failDamaged(entry, "its compressed data end early");
}

} // namespace

void readEntry(ByteView archive, const ArchiveEntry& entry, const std::stop_token& cancellation,
               const std::function<void(ByteView)>& output) {
    ByteView data = findData(archive, entry);
    CheckedSink sink(entry, cancellation, output);
    switch (entry.method) {
    case methodStored:
        while (!data.empty()) {
            const ByteView piece = data.first(std::min(data.size(), pieceSize));
            sink.take(piece);
            data = data.subspan(piece.size());
        }
        break;
    case methodDeflated: inflateInto(sink, data, entry); break;
    default:
        throw ZIPError(
            ZIPError::Unsupported{entry.path, "compression method " + std::to_string(entry.method)});
    }
    sink.finish();
}

} // namespace halvo::zip
