#pragma once

#include <Base/Bytes.h>

#include <cstdint>
#include <span>

namespace halvo::hfsplus {

/// The bytes of an image, wherever they come from: a plain file, compressed chunks.
class BlockSource {
public:
    virtual ~BlockSource() = default;
    /// In bytes.
    virtual std::uint64_t size() const = 0;
    /// Fills the whole of `into` with the bytes at `offset`. Throws HFSPlusError (`ReadPastEnd`) when there
    /// are fewer, and whatever the medium raises.
    virtual void read(std::uint64_t offset, std::span<std::uint8_t> into) = 0;
};

/// `size` bytes at `offset` of an open file, which stays the caller's and open.
class FileSource final : public BlockSource {
public:
    FileSource(int descriptor, std::uint64_t offset, std::uint64_t size)
        : descriptor(descriptor), start(offset), length(size) {}
    std::uint64_t size() const override { return length; }
    /// A file that the system cannot read is `ReadFailed`, one that became shorter is `ReadPastEnd`.
    void read(std::uint64_t offset, std::span<std::uint8_t> into) override;

private:
    int descriptor;
    std::uint64_t start;
    std::uint64_t length;
};

} // namespace halvo::hfsplus
