#pragma once

#include <Base/Bytes.h>

#include <cstdint>
#include <filesystem>

namespace halvo {

/// Changes the size of an HFS Plus volume where it stands: its files stay in their blocks.
class VolumeResize {
public:
    /// The volume takes up `size` bytes at `offset` of an open file. Throws DiskImageError (`Unsupported` for
    /// a volume that was not unmounted, has a journal, or blocks smaller than 1024 bytes; `Damaged`) and
    /// FileError.
    VolumeResize(int file, std::filesystem::path path, std::uint64_t offset, std::uint64_t size);

    /// Of the smallest volume that still holds what lies furthest back, in bytes.
    std::uint64_t minimumSize() const;
    /// Writes bitmap and both headers for a size from the minimum on. The file has room for it, which reads
    /// as zeros.
    void resize(std::uint64_t size);

private:
    void readBitmap();
    void growBitmap(std::uint64_t blocks);
    void writeBitmap() const;

    int file;
    std::filesystem::path path;
    std::uint64_t offset;
    std::uint64_t size;
    Bytes header;
    Bytes bitmap; ///< a bit for each block, the highest first
    std::uint64_t blockSize = 0;
    std::uint64_t blockCount = 0;
};

} // namespace halvo
