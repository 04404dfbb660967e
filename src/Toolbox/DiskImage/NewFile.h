#pragma once

#include <Base/Bytes.h>
#include <Platform/Descriptor.h>

#include <cstdint>
#include <filesystem>

namespace halvo {

/// Writes all bytes at that place of a file. Throws FileError, which names `path`.
void writeAt(int file, const std::filesystem::path& path, std::uint64_t offset, ByteView bytes);

/// A file that grows under a temporary name beside its destination and takes its place at the end; until then
/// it is removed with the object.
class NewFile {
public:
    /// Throws FileError.
    explicit NewFile(std::filesystem::path destination);
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile();

    int descriptor() const { return file.get(); }
    const std::filesystem::path& path() const { return destination; }
    /// Makes it that many bytes long; new ones are zeros that take no room.
    void resize(std::uint64_t size);

    /// Syncs and gives it its name, which nothing must have yet: else DiskImageError (EEXIST).
    void publish();
    /// Syncs and puts it in the place of the file of that name, with the permissions of that one.
    void replace();

private:
    void sync();

    std::filesystem::path destination;
    std::filesystem::path temporary;
    Descriptor file;
};

} // namespace halvo
