#include "ChunkEncoder.h"

#include <Base/Failure.h>

#include <algorithm>
#include <utility>

namespace halvo::udif {

ChunkEncoder::ChunkEncoder(Compression method, unsigned count) : compression(method) {
    if (count == 0)
        count = std::max(1u, std::thread::hardware_concurrency());
    for (unsigned index = 0; index < count; ++index)
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
            encoded = encodeChunk(std::move(plain), compression);
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
