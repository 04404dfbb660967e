#pragma once

#include <Platform/Files.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>

namespace halvo {

struct CopyTreeOptions {
    /// Bytes of file content copied, of how many.
    std::function<void(std::uint64_t done, std::uint64_t total)> progress{};
    std::stop_token cancellation{};
};

/// Copies the folder `source` with all below it to `destination`, which must not exist yet. Links stay links,
/// and everything keeps its permissions and its time of modification; on file systems that can, copies share
/// their blocks with the originals. A link to a folder as `source` stands for that folder.
///
/// Throws FileError, also for what is not a file, folder or link (a socket, a device), and CancelledError. What
/// was copied until then stays.
void copyTree(const std::filesystem::path& source, const std::filesystem::path& destination,
              const CopyTreeOptions& options = {});

} // namespace halvo
