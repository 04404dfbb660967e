#include "ChunkEncoder.h"

#include <Base/Failure.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include <libdeflate.h>
#include <lzma.h>

namespace halvo::udif {

namespace {

// The hash chain and the fast parser: the thorough parser takes twice the time for 2.5 % of the size, and
// with the binary tree 2.5 times for 3.2 % (68 MB of libraries, headers and noise). A dictionary beyond the
// chunk gains nothing.
constexpr std::uint32_t lzmaPreset = 6;
constexpr std::uint32_t lzmaDictionary = chunkSectors * sectorSize;
constexpr std::uint32_t lzmaNiceLength = 64;
constexpr std::uint32_t lzmaDepth = 16;

/// Whether a fast compression saves a 64th. Pictures and archives do not shrink, and LZMA would spend a third
/// of all the time to find that out.
bool shrinks(ByteView plain, Bytes& room) {
    struct Free {
        void operator()(libdeflate_compressor* it) const { libdeflate_free_compressor(it); }
    };
    thread_local const std::unique_ptr<libdeflate_compressor, Free> deflater(libdeflate_alloc_compressor(1));
    if (!deflater)
        throw std::bad_alloc();
    const std::size_t enough = plain.size() - plain.size() / 64;
    return libdeflate_deflate_compress(deflater.get(), plain.data(), plain.size(), room.data(), enough) != 0;
}

/// Without a checksum, as macOS has it. False when it does not fit into `stored`, which becomes as long as
/// needed.
bool encodeLZMA(ByteView plain, Bytes& stored) {
    lzma_options_lzma options{};
    lzma_lzma_preset(&options, lzmaPreset);
    options.dict_size = lzmaDictionary;
    options.mode = LZMA_MODE_FAST;
    options.mf = LZMA_MF_HC4;
    options.nice_len = lzmaNiceLength;
    options.depth = lzmaDepth;
    const std::array<lzma_filter, 2> filters{{{LZMA_FILTER_LZMA2, &options}, {LZMA_VLI_UNKNOWN, nullptr}}};
    std::size_t written = 0;
    const lzma_ret result =
        lzma_stream_buffer_encode(const_cast<lzma_filter*>(filters.data()), LZMA_CHECK_NONE, nullptr,
                                  plain.data(), plain.size(), stored.data(), &written, stored.size());
    if (result == LZMA_MEM_ERROR)
        throw std::bad_alloc();
    stored.resize(written);
    return result == LZMA_OK;
}

bool isZero(ByteView bytes) {
    return bytes.empty() ||
           (bytes[0] == 0 && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0);
}

EncodedChunk encode(Bytes plain) {
    if (isZero(plain))
        return {};
    Bytes stored(plain.size());
    if (!shrinks(plain, stored) || !encodeLZMA(plain, stored))
        return {ChunkType::raw, std::move(plain)};
    stored.shrink_to_fit();
    return {ChunkType::lzma, std::move(stored)};
}

} // namespace

ChunkEncoder::ChunkEncoder() {
    for (unsigned count = std::max(1u, std::thread::hardware_concurrency()); count > 0; --count)
        threads.emplace_back([this](const std::stop_token& stop) { work(stop); });
}

ChunkEncoder::~ChunkEncoder() {
    for (std::jthread& thread : threads)
        thread.request_stop();
    threads.clear(); // before what they use goes
}

void ChunkEncoder::submit(Bytes plain) {
    const std::lock_guard lock(mutex);
    jobs.push_back({.plain = std::move(plain)});
    changed.notify_all();
}

void ChunkEncoder::work(const std::stop_token& stop) {
    std::unique_lock lock(mutex);
    while (changed.wait(lock, stop, [this] { return started < jobs.size(); })) {
        if (stop.stop_requested())
            return;
        Job& job = jobs[started++]; // stays where it is: a deque grows and shrinks at its ends only
        Bytes plain = std::move(job.plain);
        lock.unlock();
        EncodedChunk encoded;
        std::exception_ptr failure;
        try {
            encoded = encode(std::move(plain));
        } catch (...) { // thrown again where the chunk is taken
            failure = std::current_exception();
        }
        lock.lock();
        job.encoded = std::move(encoded);
        job.failure = failure;
        job.isDone = true;
        changed.notify_all();
    }
}

EncodedChunk ChunkEncoder::takeNext(const std::stop_token& cancellation) {
    std::unique_lock lock(mutex);
    if (!changed.wait(lock, cancellation, [this] { return jobs.front().isDone; }))
        throw CancelledError();
    Job job = std::move(jobs.front());
    jobs.pop_front();
    --started;
    if (job.failure)
        std::rethrow_exception(job.failure);
    return std::move(job.encoded);
}

} // namespace halvo::udif
