#pragma once

#include "DiskPiece.h"

#include <DiskImage/VolumeContents.h>

namespace halvo {

/// A clean HFS Plus volume (Apple TN1150) of these contents, from its first byte to its last. macOS makes the
/// volume's UUID of `identifier`. Borrows the contents. Throws DiskImageError (`TooLarge`).
std::vector<DiskPiece> layOutVolume(const VolumeContents& contents, std::uint64_t identifier);

} // namespace halvo
