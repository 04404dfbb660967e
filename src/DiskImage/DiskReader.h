#pragma once

#include "DiskPiece.h"

#include <Platform/Descriptor.h>

#include <span>

namespace halvo {

/// Reads the pieces of a region one after the other.
class DiskReader {
public:
    explicit DiskReader(const DiskRegion& region) : pieces(region.pieces) {}

    /// Fills the whole of `into`, zeros so far, with what comes next. Throws DiskImageError (`Changed`) for a
    /// file that is not the one that was found, and FileError.
    void read(std::span<std::uint8_t> into);

private:
    void readFile(const VolumeItem& item, std::span<std::uint8_t> into);

    const std::vector<DiskPiece>& pieces;
    std::size_t current = 0;
    std::uint64_t position = 0; ///< in the current piece
    Descriptor file;            ///< of the current piece
};

} // namespace halvo
