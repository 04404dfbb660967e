#pragma once

#include "DiskPiece.h"
#include "NewFile.h"

#include <Base/UUID.h>

#include <functional>
#include <stop_token>

namespace halvo {

/// Writes a disk as a compressed UDIF image to a file that is empty: reads its pieces in their order, once,
/// cuts each region into chunks of 1 MiB, and compresses these on all cores. Zeros take no room.
///
/// Throws DiskImageError (`Changed`), FileError and CancelledError.
void writeUDIF(const std::vector<DiskRegion>& regions, const UUID& segmentID, NewFile& file,
               const std::function<void(std::uint64_t done, std::uint64_t total)>& progress,
               const std::stop_token& cancellation);

} // namespace halvo
