// Any bytes: a VolumeReader unfolds them or throws a Failure, and makes nothing beside its folder.
#include <HFSPlus/VolumeReader.h>
#include <Platform/Files.h>

#include <cstdlib>
#include <cstring>

namespace {

struct MemorySource final : halvo::hfsplus::BlockSource {
    MemorySource(const std::uint8_t* data, std::size_t size) : bytes(data, size) {}
    std::uint64_t size() const override { return bytes.size(); }
    void read(std::uint64_t offset, std::span<std::uint8_t> into) override {
        if (offset > bytes.size() || into.size() > bytes.size() - offset)
            std::abort(); // the reader knows the size
        if (!into.empty())
            std::memcpy(into.data(), bytes.data() + offset, into.size());
    }
    halvo::ByteView bytes;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace halvo;
    namespace fs = std::filesystem;
    static const TemporaryDirectory around(fs::temp_directory_path(), "halvo-fuzz-");
    const fs::path folder = around.path() / "folder";
    fs::create_directory(folder);
    MemorySource source(data, size);
    try {
        hfsplus::VolumeReader reader(source, 0, size, {.items = 1000, .totalSize = 1u << 20});
        if (reader.unfold(folder).empty())
            std::abort();
    } catch (const Failure&) {
        if (!fs::is_empty(folder))
            std::abort();
    }
    if (std::distance(fs::directory_iterator(around.path()), {}) != 1)
        std::abort();
    removeQuietly(folder);
    return 0;
}
