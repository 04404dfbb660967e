#pragma once

#include <ZIP/ZIPError.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <stop_token>

namespace halvo {

/// Told on the caller's thread how many bytes of files are packed, of how many.
using PackingProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

struct PackingOptions {
    unsigned threads = 0; ///< that deflate; 0 means one for each core
    PackingProgress progress{};
    std::stop_token cancellation{};
};

/// Packs a folder into a ZIP archive (PKWARE APPNOTE 6.3) with the folder itself as the top entry.
///
/// Names are kept byte for byte, permissions and modification times too; symbolic links are stored as links.
/// Set-user-id, set-group-id, sticky bits and owners are not kept. Equal folders give equal bytes, wherever
/// and whenever they are packed. ZIP64 records appear only where sizes or counts ask for them.
///
/// The destination is replaced in one step; after a failure or cancellation it is as it was. Throws ZIPError,
/// FileError, or CancelledError.
void zipDirectory(const std::filesystem::path& folder, const std::filesystem::path& destination,
                  const PackingOptions& options = {});

} // namespace halvo
