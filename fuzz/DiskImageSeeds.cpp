// Writes the files that the fuzzer of disk images starts from: DiskImageSeeds FOLDER
#include <DiskImage/PartitionMap.h>
#include <DiskImage/UDIFWriter.h>
#include <Platform/Descriptor.h>
#include <Platform/Files.h>

#include <cstdio>
#include <filesystem>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace halvo;

Descriptor newFile(const std::filesystem::path& path) {
    removeQuietly(path);
    Descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    if (!file.isOpen())
        throw FileError("write", path, errno);
    return file;
}

void writeSeeds(const std::filesystem::path& folder) {
    const SingleVolumeDisk disk{.sectorCount = 104, .diskID = UUID::random(), .partitionID = UUID::random()};
    const std::filesystem::path raw = folder / "raw";
    const Descriptor file = newFile(raw);
    if (::ftruncate(file.get(), static_cast<off_t>(disk.sectorCount * 512)) != 0)
        throw FileError("write", raw, errno);
    writePartitionMap(file.get(), raw, disk);
    hfsplus::FileSource source(file.get(), 0, disk.sectorCount * 512);
    const PartitionMap map = readPartitionMap(source);
    for (const Compression compression : {Compression::zlib, Compression::lzma}) {
        const std::filesystem::path path = folder / (compression == Compression::zlib ? "zlib" : "lzma");
        writeUDIF(source, map, newFile(path).get(), path, {.compression = compression, .threads = 1});
    }
}

} // namespace

int main(int count, char** values) {
    if (count != 2) {
        std::fputs("Usage: DiskImageSeeds FOLDER\n", stderr);
        return 1;
    }
    writeSeeds(values[1]);
    return 0;
}
