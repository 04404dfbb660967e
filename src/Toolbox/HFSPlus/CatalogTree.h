#pragma once

#include "FolderItems.h"

#include <Base/BinaryWriter.h>
#include <Base/Bytes.h>

namespace halvo::hfsplus {

constexpr std::uint64_t blockSize = 4096; ///< of the volumes that are written

inline std::uint64_t blocksFor(std::uint64_t bytes) { return bytes / blockSize + (bytes % blockSize != 0); }

/// A fork in one piece; none has no place.
void writeFork(BinaryWriter& writer, std::uint64_t size, std::uint64_t firstBlock, std::uint64_t clump);

/// The catalog file. The data of the items stand one behind the other from `firstDataBlock` on, in their
/// order.
Bytes buildCatalog(const std::vector<FolderItem>& items, const std::u16string& volumeName, bool hasCustomIcon,
                   std::uint64_t firstDataBlock);

} // namespace halvo::hfsplus
