// Writes the volumes that the fuzzer of HFSPlus starts from: HFSPlusSeeds FOLDER
#include <HFSPlus/VolumeContents.h>
#include <Platform/Descriptor.h>
#include <Platform/Files.h>

#include <cstdio>

#include <fcntl.h>

namespace {

using namespace halvo;
namespace fs = std::filesystem;

/// Cut behind the data: a reader needs no more, and a fuzzer works best on little.
void writeVolume(const fs::path& source, const fs::path& image, std::uint64_t length) {
    const hfsplus::VolumeContents contents(source);
    const Descriptor file(::open(image.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, 0644));
    contents.write(file.get(), 0, contents.minimumSize("Seed"), {.name = "Seed", .hasCustomIcon = true});
    Bytes bytes = readFile(image);
    bytes.resize(length);
    const std::uint64_t blocks = length / 4096;
    bytes[1024 + 46] = static_cast<std::uint8_t>(blocks >> 8); // of the number of blocks, the last two bytes
    bytes[1024 + 47] = static_cast<std::uint8_t>(blocks);
    writeFileAtomically(image, bytes);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: HFSPlusSeeds FOLDER\n", stderr);
        return 64;
    }
    const fs::path folder = argv[1];
    fs::create_directories(folder);
    const TemporaryDirectory temporary(fs::temp_directory_path());
    const fs::path source = temporary.path() / "source";
    fs::create_directories(source / "Demo.app/Contents");
    fs::create_directory_symlink("Contents", source / "Demo.app/Current");
    writeNewFile(source / "Demo.app/Contents/Info.plist", copyBytes("<plist/>"));
    writeNewFile(source / "caf\u00e9 \U0001F600:", copyBytes(std::string(5000, 'c')));
    writeVolume(source, folder / "few", 48 * 1024);
    for (int index = 0; index < 30; ++index)
        fs::create_directory(source / ("folder " + std::to_string(index)));
    writeVolume(source, folder / "two-levels", 64 * 1024);
    return 0;
}
