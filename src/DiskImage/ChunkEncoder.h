#pragma once

#include "UDIFFormat.h"

#include <condition_variable>
#include <deque>
#include <exception>
#include <mutex>
#include <stop_token>
#include <thread>
#include <vector>

namespace halvo::udif {

/// How a chunk is stored: `bytes` are empty for zeros, and the plain ones where compressing gains too little.
struct EncodedChunk {
    ChunkType type = ChunkType::zero;
    Bytes bytes{};
};

/// Encodes chunks on all cores and gives them back in order.
class ChunkEncoder {
public:
    ChunkEncoder();
    ChunkEncoder(const ChunkEncoder&) = delete;
    ChunkEncoder& operator=(const ChunkEncoder&) = delete;
    /// Waits for the threads, which stop after their current chunk.
    ~ChunkEncoder();

    /// Room for another chunk; without it, take one first.
    bool hasRoom() const { return jobs.size() < 2 * threads.size(); }
    bool isEmpty() const { return jobs.empty(); }
    void submit(Bytes plain);
    /// The oldest one submitted, of which there must be one. Throws CancelledError.
    EncodedChunk takeNext(const std::stop_token& cancellation);

private:
    struct Job {
        Bytes plain{};
        bool isDone = false;
        EncodedChunk encoded{};
        std::exception_ptr failure{};
    };
    void work(const std::stop_token& stop);

    std::mutex mutex; // guards everything down to the threads; the owner alone adds and removes jobs
    std::condition_variable_any changed;
    std::deque<Job> jobs; ///< in order; those before `started` are being worked on or done
    std::size_t started = 0;
    std::vector<std::jthread> threads;
};

} // namespace halvo::udif
