#pragma once

#include <DiskImage/Compression.h>
#include <DiskImage/PartitionMap.h>
#include <HFSPlus/BlockSource.h>

#include <cstdint>
#include <functional>
#include <stop_token>

namespace halvo {

struct UDIFOptions {
    Compression compression = Compression::lzma;
    unsigned threads = 0; ///< 0: as many as the machine has
};

/// Writes `disk` as a compressed UDIF image to an empty file, one chunk of 1 MiB after the other: compressed
/// on all threads, with bounded memory. Zeros take no room. Equal disks and options give equal bytes.
/// `progress` is told on the caller's thread how many bytes of the disk are done, of how many.
///
/// Throws FileError (`path` names the file), what `disk` raises, and CancelledError.
void writeUDIF(hfsplus::BlockSource& disk, const PartitionMap& map, int file,
               const std::filesystem::path& path, const UDIFOptions& options = {},
               const std::function<void(std::uint64_t done, std::uint64_t total)>& progress = {},
               const std::stop_token& cancellation = {});

} // namespace halvo
