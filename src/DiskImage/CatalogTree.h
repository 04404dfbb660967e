#pragma once

#include "HFSPlusFormat.h"

#include <Base/BinaryWriter.h>
#include <Base/Bytes.h>
#include <DiskImage/VolumeContents.h>

namespace halvo::hfsplus {

inline std::uint64_t blocksFor(std::uint64_t bytes) { return bytes / blockSize + (bytes % blockSize != 0); }

/// In the dates of the format.
std::uint32_t volumeDate(Date date);

/// A fork in one piece; none has no place.
void writeFork(BinaryWriter& writer, std::uint64_t size, std::uint64_t firstBlock, std::uint64_t clump);

/// The catalog file. The data of the items stand one behind the other from `firstDataBlock` on, in their
/// order.
Bytes buildCatalog(const VolumeContents& contents, std::uint64_t firstDataBlock);

} // namespace halvo::hfsplus
