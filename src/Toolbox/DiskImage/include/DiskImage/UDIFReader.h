#pragma once

#include <HFSPlus/BlockSource.h>

#include <cstdint>
#include <memory>
#include <stop_token>

namespace halvo {

/// The disk inside a UDIF image (raw, zlib, bzip2 and LZMA chunks), decompressed as it is read. The image is
/// not trusted: every table is checked against the file before a byte of it is used, and memory stays
/// bounded.
class UDIFReader final : public hfsplus::BlockSource {
public:
    /// Whether the file ends in the trailer of a UDIF image. What is not read counts as no.
    static bool recognizes(hfsplus::BlockSource& file);

    /// `file` must outlive the reader. Throws DiskImageError (`Damaged`, `TooLarge`), PropertyListError and
    /// what `file` raises.
    explicit UDIFReader(hfsplus::BlockSource& file);
    ~UDIFReader() override;

    std::uint64_t size() const override;
    /// Throws DiskImageError (`Damaged`; `NeedsSevenZip` for a chunk of LZFSE or ADC) and what the file
    /// raises.
    void read(std::uint64_t offset, std::span<std::uint8_t> into) override;

    /// Compares the disk with the checksums of its regions. Chunks that were read before are not decompressed
    /// again. Throws CancelledError, DiskImageError (`Damaged`), and as read().
    void verify(const std::stop_token& cancellation = {});

private:
    struct Contents;
    std::unique_ptr<Contents> contents;
};

} // namespace halvo
