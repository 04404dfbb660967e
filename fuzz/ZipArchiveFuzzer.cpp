// Any bytes: every entry of an archive is read, within the limit, or refused with a ZIPError.
#include <ZIP/ZipArchive.h>

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace halvo;
    constexpr std::uint64_t limit = 1u << 20;
    static const TemporaryDirectory folder(std::filesystem::temp_directory_path(), "halvo-fuzz-");
    const std::filesystem::path file = folder.path() / "archive.zip";
    removeQuietly(file);
    writeNewFile(file, ByteView(data, size));
    try {
        const ZipArchive archive(file);
        for (const ZipEntry& entry : archive.entries()) {
            try {
                if (archive.read(entry, limit).size() > limit)
                    std::abort();
            } catch (const ZIPError&) { // the next one may be sound
            }
        }
    } catch (const ZIPError&) {
        return 0;
    }
    return 0;
}
