#pragma once

#include "UDIFFormat.h"

#include <DiskImage/Compression.h>

namespace halvo::udif {

/// The plain bytes of a compressed or raw chunk, which must be exactly `size`. Throws DiskImageError
/// (`Damaged`; `NeedsSevenZip` for LZFSE and ADC).
Bytes decodeChunk(ChunkType type, ByteView stored, std::size_t size);

/// How a chunk is stored: `bytes` are empty for zeros, and the plain ones where compressing gains nothing.
struct EncodedChunk {
    ChunkType type = ChunkType::zero;
    Bytes bytes{};
};
EncodedChunk encodeChunk(Bytes plain, Compression compression);

} // namespace halvo::udif
