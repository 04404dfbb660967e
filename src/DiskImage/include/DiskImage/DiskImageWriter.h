#pragma once

#include <DiskImage/VolumeContents.h>

#include <functional>
#include <stop_token>

namespace halvo {

/// Writes a compressed, read-only disk image (UDIF, LZMA) with a GUID partition map and one HFS+ volume.
/// Files are read once, as their turn comes, and compressed on all cores with bounded memory; nothing else is
/// written. `progress` is told on the caller's thread how many bytes of the disk are done, of how many. Equal
/// contents give equal bytes.
///
/// Gives false, and leaves it alone, when `image` is there already. Throws DiskImageError (`Changed`,
/// `TooLarge`), FileError and CancelledError; nothing stays behind then.
[[nodiscard]] bool
writeDiskImage(const VolumeContents& contents, const std::filesystem::path& image,
               const std::function<void(std::uint64_t done, std::uint64_t total)>& progress = {},
               const std::stop_token& cancellation = {});

} // namespace halvo
