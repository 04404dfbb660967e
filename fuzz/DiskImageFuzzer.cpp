// Any bytes as a disk image: opened, divided and read, or refused with a Failure.
#include <DiskImage/PartitionMap.h>
#include <DiskImage/UDIFReader.h>
#include <HFSPlus/HFSPlusError.h>

#include <algorithm>

namespace {

using namespace halvo;

class Input final : public hfsplus::BlockSource {
public:
    explicit Input(ByteView bytes) : bytes(bytes) {}
    std::uint64_t size() const override { return bytes.size(); }
    void read(std::uint64_t offset, std::span<std::uint8_t> into) override {
        if (offset > bytes.size() || into.size() > bytes.size() - offset)
            throw hfsplus::HFSPlusError(hfsplus::HFSPlusError::ReadPastEnd{offset});
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(offset), into.size(), into.begin());
    }

private:
    ByteView bytes;
};

/// Real work grows with the disk that an image claims to hold, so only the start and the end are read.
void readSome(hfsplus::BlockSource& disk) {
    constexpr std::uint64_t most = 1u << 20;
    std::vector<std::uint8_t> piece(std::min(disk.size(), most));
    disk.read(0, piece);
    disk.read(disk.size() - piece.size(), piece);
    const PartitionMap map = readPartitionMap(disk);
    std::uint64_t end = 0;
    for (const DiskRegion& region : diskRegions(map, disk.size() / 512)) {
        if (region.firstSector != end)
            __builtin_trap();
        end += region.sectorCount;
    }
    if (end != disk.size() / 512)
        __builtin_trap();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input file(ByteView(data, size));
    try {
        if (UDIFReader::recognizes(file)) {
            UDIFReader reader(file);
            readSome(reader);
        } else {
            readSome(file);
        }
    } catch (const Failure&) {
        // Damaged input has to end here.
    }
    return 0;
}
