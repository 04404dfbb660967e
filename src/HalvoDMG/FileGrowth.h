#pragma once

#include <HalvoDMG/ImageBuilder.h>

#include <thread>

namespace halvo {

/// Tells the size of a file that a tool writes, some times a second, for as long as the object lives.
class FileGrowth {
public:
    FileGrowth(const std::filesystem::path& file, const ImageBuilder::Progress& progress);

private:
    std::jthread watcher;
};

} // namespace halvo
