// Any bytes: extractZip unpacks them or throws a Failure, and makes nothing beside its folder.
#include <Platform/Files.h>
#include <ZIP/ExtractZip.h>

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace halvo;
    namespace fs = std::filesystem;
    static const TemporaryDirectory around(fs::temp_directory_path(), "halvo-fuzz-");
    const fs::path archive = around.path() / "archive.zip";
    const fs::path folder = around.path() / "folder";
    removeQuietly(archive);
    removeQuietly(folder);
    fs::create_directory(folder);
    writeNewFile(archive, ByteView(data, size));
    try {
        extractZip(archive, folder, {.limits = {.totalSize = 1u << 20}});
    } catch (const Failure&) {
        if (!fs::is_empty(folder))
            std::abort();
    }
    const fs::path root = fs::canonical(folder);
    for (const auto& item : fs::recursive_directory_iterator(folder)) {
        std::error_code dangling;
        const fs::path target = fs::weakly_canonical(item.path(), dangling);
        if (!dangling && !target.string().starts_with(root.string()))
            std::abort();
    }
    if (std::distance(fs::directory_iterator(around.path()), {}) != 2)
        std::abort();
    return 0;
}
