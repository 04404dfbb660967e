#include "ChunkCodec.h"

#include <DiskImage/DiskImageError.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>

#include <bzlib.h>
#include <libdeflate.h>
#include <lzma.h>

namespace halvo::udif {
namespace {

constexpr int zlibLevel = 7;
/// What macOS takes, without a checksum. A dictionary beyond the chunk gains nothing and costs a sixth of the
/// time.
constexpr std::uint32_t lzmaPreset = 6;
constexpr std::uint32_t lzmaDictionary = chunkSectors * sectorSize;
/// Where a match is long enough, as 7-Zip's default level has it: a fourteenth less time for 0.3 % of the
/// size.
constexpr std::uint32_t lzmaNiceLength = 32;
/// Decoding what macOS makes takes 9 MB.
constexpr std::uint64_t lzmaMemoryLimit = 128u << 20;

struct FreeDecompressor {
    void operator()(libdeflate_decompressor* it) const { libdeflate_free_decompressor(it); }
};
struct FreeCompressor {
    void operator()(libdeflate_compressor* it) const { libdeflate_free_compressor(it); }
};

bool inflate(ByteView stored, Bytes& plain) {
    const std::unique_ptr<libdeflate_decompressor, FreeDecompressor> inflater(
        libdeflate_alloc_decompressor());
    if (!inflater)
        throw std::bad_alloc();
    // Without a place for the actual size it must be that of the buffer.
    return libdeflate_zlib_decompress(inflater.get(), stored.data(), stored.size(), plain.data(),
                                      plain.size(), nullptr) == LIBDEFLATE_SUCCESS;
}

bool decodeBzip2(ByteView stored, Bytes& plain) {
    auto size = static_cast<unsigned>(plain.size());
    auto* input = const_cast<char*>(viewText(stored).data()); // the library does not write to it
    return BZ2_bzBuffToBuffDecompress(reinterpret_cast<char*>(plain.data()), &size, input,
                                      static_cast<unsigned>(stored.size()), 0, 0) == BZ_OK &&
           size == plain.size();
}

bool decodeLZMA(ByteView stored, Bytes& plain) {
    std::uint64_t memory = lzmaMemoryLimit;
    std::size_t read = 0;
    std::size_t written = 0;
    return lzma_stream_buffer_decode(&memory, 0, nullptr, stored.data(), &read, stored.size(), plain.data(),
                                     &written, plain.size()) == LZMA_OK &&
           written == plain.size();
}

Bytes deflate(ByteView plain) {
    // Costly to make, and every thread compresses thousands of chunks.
    thread_local const std::unique_ptr<libdeflate_compressor, FreeCompressor> deflater(
        libdeflate_alloc_compressor(zlibLevel));
    if (!deflater)
        throw std::bad_alloc();
    Bytes stored(plain.size());
    stored.resize(
        libdeflate_zlib_compress(deflater.get(), plain.data(), plain.size(), stored.data(), stored.size()));
    return stored;
}

Bytes encodeLZMA(ByteView plain) {
    Bytes stored(plain.size());
    std::size_t written = 0;
    lzma_options_lzma options{};
    lzma_lzma_preset(&options, lzmaPreset);
    options.dict_size = lzmaDictionary;
    options.nice_len = lzmaNiceLength;
    std::array<lzma_filter, 2> filters{{{LZMA_FILTER_LZMA2, &options}, {LZMA_VLI_UNKNOWN, nullptr}}};
    const lzma_ret result = lzma_stream_buffer_encode(filters.data(), LZMA_CHECK_NONE, nullptr, plain.data(),
                                                      plain.size(), stored.data(), &written, stored.size());
    if (result == LZMA_MEM_ERROR)
        throw std::bad_alloc();
    stored.resize(result == LZMA_OK ? written : 0); // 0: it did not shrink
    return stored;
}

bool isZero(ByteView bytes) {
    return bytes.empty() ||
           (bytes[0] == 0 && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0);
}

} // namespace

Bytes decodeChunk(ChunkType type, ByteView stored, std::size_t size) {
    Bytes plain(size);
    bool whole = false;
    switch (type) {
    case ChunkType::raw:
        whole = stored.size() == size;
        std::copy_n(stored.begin(), std::min(stored.size(), size), plain.begin());
        break;
    case ChunkType::zlib: whole = inflate(stored, plain); break;
    case ChunkType::bzip2: whole = decodeBzip2(stored, plain); break;
    case ChunkType::lzma: whole = decodeLZMA(stored, plain); break;
    case ChunkType::lzfse: throw DiskImageError(DiskImageError::NeedsSevenZip{"LZFSE compression"});
    case ChunkType::adc: throw DiskImageError(DiskImageError::NeedsSevenZip{"ADC compression"});
    default: break;
    }
    if (!whole)
        throw DiskImageError(DiskImageError::Damaged{"a chunk cannot be decompressed"});
    return plain;
}

EncodedChunk encodeChunk(Bytes plain, Compression compression) {
    if (isZero(plain))
        return {};
    Bytes stored = compression == Compression::lzma ? encodeLZMA(plain) : deflate(plain);
    if (stored.empty() || stored.size() >= plain.size())
        return {ChunkType::raw, std::move(plain)};
    stored.shrink_to_fit();
    return {compression == Compression::lzma ? ChunkType::lzma : ChunkType::zlib, std::move(stored)};
}

} // namespace halvo::udif
