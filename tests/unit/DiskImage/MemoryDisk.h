#pragma once

#include <Base/Bytes.h>
#include <HFSPlus/BlockSource.h>
#include <HFSPlus/HFSPlusError.h>

#include <algorithm>

namespace halvo::test {

/// A disk or file in memory.
class MemoryDisk final : public hfsplus::BlockSource {
public:
    explicit MemoryDisk(Bytes bytes) : bytes(std::move(bytes)) {}

    std::uint64_t size() const override { return bytes.size(); }
    void read(std::uint64_t offset, std::span<std::uint8_t> into) override {
        if (offset > bytes.size() || into.size() > bytes.size() - offset)
            throw hfsplus::HFSPlusError(hfsplus::HFSPlusError::ReadPastEnd{offset});
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), into.size(), into.begin());
    }

    Bytes bytes;
};

} // namespace halvo::test
