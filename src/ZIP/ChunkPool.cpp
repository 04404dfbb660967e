#include "ChunkPool.h"

#include "Deflater.h"
#include <Platform/Descriptor.h>

#include <Platform/Files.h>
#include <ZIP/ZIPError.h>

#include <algorithm>
#include <cerrno>
#include <optional>

#include <fcntl.h>
#include <libdeflate.h>
#include <sys/stat.h>

namespace halvo::zip {
namespace {

/// Large enough that starting with an empty window costs next to nothing, small enough that one large file
/// keeps every core busy.
constexpr std::size_t chunkSize = std::size_t{4} << 20;
/// Bounds the memory: results never grow beyond what they are made of.
constexpr std::size_t bytesAheadLimit = std::size_t{64} << 20;

void requireUnchanged(const Descriptor& file, const TreeEntry& entry) {
    struct stat status {};
    if (::fstat(file.get(), &status) != 0)
        throw FileError("read", entry.path, errno);
    if (!S_ISREG(status.st_mode) || identityOf(status) != entry.identity)
        throw ZIPError(ZIPError::Changed{entry.path.string()});
}

DeflatedChunk deflateChunk(Deflater& deflater, const Chunk& chunk) {
    Bytes plain = readChunk(chunk);
    DeflatedChunk result;
    result.crc = libdeflate_crc32(0, plain.data(), plain.size());
    result.bytes = deflater.deflate(plain, !chunk.isLast);
    if (chunk.offset == 0 && chunk.isLast && result.bytes.size() >= plain.size()) {
        result.isStored = true;
        result.bytes = std::move(plain);
    }
    result.bytes.shrink_to_fit();
    return result;
}

} // namespace

std::vector<Chunk> cutIntoChunks(std::span<const TreeEntry> entries) {
    std::vector<Chunk> chunks;
    for (const TreeEntry& entry : entries) {
        if (entry.kind != TreeEntry::Kind::file)
            continue;
        for (std::uint64_t offset = 0; offset < entry.identity.size; offset += chunkSize) {
            const std::uint64_t left = entry.identity.size - offset;
            chunks.push_back({.entry = &entry,
                              .offset = offset,
                              .size = static_cast<std::size_t>(std::min<std::uint64_t>(chunkSize, left)),
                              .isLast = left <= chunkSize});
        }
    }
    return chunks;
}

Bytes readChunk(const Chunk& chunk) {
    // Read rather than mapped: a file that another process shortens meanwhile is then an error, not a signal.
    const TreeEntry& entry = *chunk.entry;
    const Descriptor file(::open(entry.path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!file.isOpen()) {
        if (errno == ENOENT || errno == ELOOP)
            throw ZIPError(ZIPError::Changed{entry.path.string()});
        throw FileError("read", entry.path, errno);
    }
    requireUnchanged(file, entry);
    Bytes bytes(chunk.size);
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count = ::pread(file.get(), bytes.data() + filled, bytes.size() - filled,
                                      static_cast<off_t>(chunk.offset + filled));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw FileError("read", entry.path, errno);
        if (count == 0)
            throw ZIPError(ZIPError::Changed{entry.path.string()});
        filled += static_cast<std::size_t>(count);
    }
    requireUnchanged(file, entry);
    return bytes;
}

ChunkPool::ChunkPool(std::span<const Chunk> work, unsigned threadCount) : chunks(work) {
    if (threadCount == 0)
        threadCount = std::max(1u, std::thread::hardware_concurrency());
    const std::size_t useful = std::min<std::size_t>(threadCount, chunks.size());
    for (std::size_t index = 0; index < useful; ++index)
        threads.emplace_back([this](const std::stop_token& stop) { this->work(stop); });
}

ChunkPool::~ChunkPool() {
    for (std::jthread& thread : threads)
        thread.request_stop();
}

bool ChunkPool::mayStartNext() const {
    return nextToStart == chunks.size() || bytesAhead == 0 ||
           bytesAhead + chunks[nextToStart].size <= bytesAheadLimit;
}

void ChunkPool::work(const std::stop_token& stop) {
    std::optional<Deflater> deflater;
    std::unique_lock lock(mutex);
    while (changed.wait(lock, stop, [this] { return mayStartNext(); }) && nextToStart < chunks.size()) {
        if (stop.stop_requested())
            return;
        const std::size_t index = nextToStart++;
        bytesAhead += chunks[index].size;
        lock.unlock();
        Outcome outcome;
        try {
            if (!deflater)
                deflater.emplace();
            outcome.chunk = deflateChunk(*deflater, chunks[index]);
        } catch (...) { // thrown again where the chunk is taken
            outcome.failure = std::current_exception();
        }
        lock.lock();
        finished.emplace(index, std::move(outcome));
        changed.notify_all();
    }
}

DeflatedChunk ChunkPool::takeNext(const std::stop_token& cancellation) {
    std::unique_lock lock(mutex);
    changed.wait(lock, cancellation, [this] { return finished.contains(nextToTake); });
    if (cancellation.stop_requested())
        throw CancelledError();
    Outcome outcome = std::move(finished.extract(nextToTake).mapped());
    bytesAhead -= chunks[nextToTake].size;
    ++nextToTake;
    changed.notify_all();
    if (outcome.failure)
        std::rethrow_exception(outcome.failure);
    return std::move(outcome.chunk);
}

} // namespace halvo::zip
