#pragma once

#include <DiskImage/UDIFReader.h>
#include <HFSPlus/BlockSource.h>
#include <Platform/Descriptor.h>

#include <filesystem>
#include <optional>

namespace halvo {

/// An image file and the disk inside. Locked against the operations that change images: shared when opened
/// for reading, exclusively for writing.
class OpenImage {
public:
    enum class Access { read, write };

    /// Throws FileError, and DiskImageError for a damaged UDIF file.
    OpenImage(const std::filesystem::path& path, Access access);
    OpenImage(const OpenImage&) = delete;
    OpenImage& operator=(const OpenImage&) = delete;

    hfsplus::BlockSource& disk();
    /// The disk is the file's own bytes.
    bool isRaw() const { return !udif; }
    int descriptor() const { return file.get(); }
    /// Compares with the checksums, where the format has some. What was read before costs nothing more.
    void verify(const std::stop_token& cancellation);

private:
    Descriptor file;
    hfsplus::FileSource source;
    std::optional<UDIFReader> udif;
};

} // namespace halvo
