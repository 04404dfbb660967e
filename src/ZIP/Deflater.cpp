#include "Deflater.h"

#include <array>
#include <new>
#include <stdexcept>

#include <libdeflate.h>
#include <zlib.h>

namespace halvo::zip {
namespace {

/// No larger than what `zip -6` makes of an app bundle, at a quarter of the time; level 9 takes three times
/// as long for half a percent.
constexpr int compressionLevel = 6;

/// Where the last block of a deflate stream starts and where the stream ends, counted in bits.
struct LastBlock {
    std::size_t start = 0;
    std::size_t end = 0;
};

/// Walks through the blocks: only decoding tells where one ends.
LastBlock findLastBlock(ByteView stream) {
    z_stream decoder{};
    if (inflateInit2(&decoder, -MAX_WBITS) != Z_OK)
        throw std::bad_alloc();
    const std::unique_ptr<z_stream, int (*)(z_stream*)> end(&decoder, inflateEnd);
    decoder.next_in = const_cast<Bytef*>(stream.data());
    decoder.avail_in = static_cast<uInt>(stream.size());
    std::vector<Bytef> discarded(std::size_t{256} << 10);
    LastBlock last;
    for (;;) {
        decoder.next_out = discarded.data();
        decoder.avail_out = static_cast<uInt>(discarded.size());
        const int result = inflate(&decoder, Z_BLOCK);
        if (result != Z_OK)
            throw std::logic_error("a deflated chunk does not inflate");
        if ((decoder.data_type & 128) == 0) // inside a block
            continue;
        const std::size_t position = std::size_t{decoder.total_in} * 8 - (decoder.data_type & 7);
        if ((decoder.data_type & 64) != 0) {
            last.end = position;
            return last;
        }
        last.start = position;
    }
}

/// Takes the end mark from a complete stream and brings it to a byte border with an empty stored block, as
/// zlib's sync flush does.
void openEnd(Bytes& stream) {
    const LastBlock last = findLastBlock(stream);
    stream[last.start / 8] &= static_cast<std::uint8_t>(~(1u << (last.start % 8)));
    // The stored block's header is three zero bits; the bits behind the end are zero already.
    stream.resize((last.end + 3 + 7) / 8);
    static constexpr std::array<std::uint8_t, 4> emptyStored{0x00, 0x00, 0xFF, 0xFF};
    stream.insert(stream.end(), emptyStored.begin(), emptyStored.end());
}

} // namespace

Deflater::Deflater() : compressor(libdeflate_alloc_compressor(compressionLevel)) {
    if (!compressor)
        throw std::bad_alloc();
}

void Deflater::Free::operator()(libdeflate_compressor* owned) const { libdeflate_free_compressor(owned); }

Bytes Deflater::deflate(ByteView input, bool continued) {
    Bytes output(libdeflate_deflate_compress_bound(compressor.get(), input.size()));
    const std::size_t size = libdeflate_deflate_compress(compressor.get(), input.data(), input.size(),
                                                         output.data(), output.size());
    if (size == 0)
        throw std::logic_error("a buffer of the promised size did not hold a deflated chunk");
    output.resize(size);
    if (continued)
        openEnd(output);
    return output;
}

} // namespace halvo::zip
