#include "FileGrowth.h"

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace halvo {
namespace {

constexpr std::chrono::milliseconds interval{200};

void watch(const std::filesystem::path& file, const ImageBuilder::Progress& progress,
           const std::stop_token& ended) {
    std::mutex mutex;
    std::condition_variable_any woken;
    std::unique_lock lock(mutex);
    while (!woken.wait_for(lock, ended, interval, [] { return false; }) && !ended.stop_requested()) {
        std::error_code missing;
        const std::uintmax_t size = std::filesystem::file_size(file, missing);
        if (!missing)
            progress(size, 0);
    }
}

} // namespace

FileGrowth::FileGrowth(const std::filesystem::path& file, const ImageBuilder::Progress& progress) {
    if (progress)
        watcher = std::jthread([=](const std::stop_token& ended) { watch(file, progress, ended); });
}

} // namespace halvo
