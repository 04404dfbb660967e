#pragma once

#include "ArchiveIndex.h"

#include <functional>
#include <stop_token>

namespace halvo::zip {

/// Gives the content of an entry to `sink`, piece by piece, and checks its length and CRC. Pieces have been
/// given already when it throws ZIPError or CancelledError.
void readEntry(ByteView archive, const ArchiveEntry& entry, const std::stop_token& cancellation,
               const std::function<void(ByteView)>& sink);

} // namespace halvo::zip
