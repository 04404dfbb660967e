#pragma once

#include "FolderTree.h"

#include <Base/Bytes.h>

#include <condition_variable>
#include <exception>
#include <map>
#include <mutex>
#include <span>
#include <thread>

namespace halvo::zip {

/// A piece of a file that is deflated on its own.
struct Chunk {
    const TreeEntry* entry = nullptr;
    std::uint64_t offset = 0;
    std::size_t size = 0;
    bool isLast = false;
};

struct DeflatedChunk {
    Bytes bytes{};
    bool isStored = false; ///< the file's only chunk did not shrink: `bytes` are the file's own
    std::uint32_t crc = 0; ///< of the chunk's plain bytes
};

/// The files' content in pieces of `chunkSize` bytes, in order; empty files and folders have none.
std::vector<Chunk> cutIntoChunks(std::span<const TreeEntry> entries);

/// Reads `chunk` from disk. Throws ZIPError (Changed) when the file is no longer what the entry says.
Bytes readChunk(const Chunk& chunk);

/// Reads and deflates chunks on several threads, a bounded number of bytes ahead of the consumer.
class ChunkPool {
public:
    /// `chunks` is borrowed until the pool goes.
    ChunkPool(std::span<const Chunk> chunks, unsigned threads);
    ChunkPool(const ChunkPool&) = delete;
    ChunkPool& operator=(const ChunkPool&) = delete;
    /// Waits for the threads, which stop after their current chunk.
    ~ChunkPool();

    /// The chunks one after the other, in the order given. Throws what reading it threw, or CancelledError.
    DeflatedChunk takeNext(const std::stop_token& cancellation);

private:
    struct Outcome {
        DeflatedChunk chunk{};
        std::exception_ptr failure{};
    };
    void work(const std::stop_token& stop);
    bool mayStartNext() const;

    std::span<const Chunk> chunks;

    std::mutex mutex; // guards everything down to the threads
    std::condition_variable_any changed;
    std::size_t nextToStart = 0;
    std::size_t nextToTake = 0;
    std::size_t bytesAhead = 0; ///< plain size of the chunks that are started and not yet taken
    std::map<std::size_t, Outcome> finished;

    std::vector<std::jthread> threads;
};

} // namespace halvo::zip
