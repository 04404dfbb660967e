#pragma once

#include <Base/Bytes.h>

#include <memory>

struct libdeflate_compressor;

namespace halvo::zip {

/// Compresses whole buffers into raw deflate streams. Not for several threads at once.
class Deflater {
public:
    Deflater();

    /// One complete stream. With `continued`, a stream without an end that finishes on a byte: streams
    /// written one after the other, the last of them complete, decompress to their inputs one after the
    /// other.
    Bytes deflate(ByteView input, bool continued);

private:
    struct Free {
        void operator()(libdeflate_compressor* compressor) const;
    };
    std::unique_ptr<libdeflate_compressor, Free> compressor;
};

} // namespace halvo::zip
