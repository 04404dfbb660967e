#pragma once

#include <DiskImage/VolumeItem.h>

#include <string>
#include <vector>

namespace halvo {

/// Some bytes of a disk: of a file that is read when its turn comes, or `bytes`; zeros up to the size.
struct DiskPiece {
    std::uint64_t size = 0; ///< a multiple of 512
    Bytes bytes{};
    const VolumeItem* file = nullptr;
};

/// A part of a disk under the name that UDIF images give it.
struct DiskRegion {
    std::string name{};
    std::vector<DiskPiece> pieces{};

    std::uint64_t size() const {
        std::uint64_t total = 0;
        for (const DiskPiece& piece : pieces)
            total += piece.size;
        return total;
    }
};

} // namespace halvo
