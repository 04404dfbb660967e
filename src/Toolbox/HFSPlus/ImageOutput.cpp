#include "ImageOutput.h"

#include "FolderItems.h"

#include <Platform/Descriptor.h>
#include <Platform/Files.h>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace halvo::hfsplus {
namespace {

/// Between two reports of progress, and of a copy through memory.
constexpr std::uint64_t pieceSize = 4u << 20;

bool isUnchanged(int descriptor, const FolderItem& item) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
           static_cast<std::uint64_t>(status.st_size) == item.size &&
           status.st_mtim.tv_sec == item.modified.tv_sec && status.st_mtim.tv_nsec == item.modified.tv_nsec;
}

} // namespace

void ImageOutput::reserve(std::uint64_t size) {
    struct stat status {};
    if (::fstat(descriptor, &status) != 0)
        throw HFSPlusError(HFSPlusError::WriteFailed{errno});
    const std::uint64_t end = start + size;
    if (static_cast<std::uint64_t>(status.st_size) < end &&
        ::ftruncate(descriptor, static_cast<off_t>(end)) != 0)
        throw HFSPlusError(HFSPlusError::WriteFailed{errno});
}

void ImageOutput::write(std::uint64_t offset, ByteView bytes) {
    while (!bytes.empty()) {
        const ssize_t count =
            ::pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(start + offset));
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw HFSPlusError(HFSPlusError::WriteFailed{errno});
        bytes = bytes.subspan(static_cast<std::size_t>(count));
        offset += static_cast<std::uint64_t>(count);
    }
}

void ImageOutput::copyFile(std::uint64_t offset, const std::filesystem::path& path, const FolderItem& item,
                           const std::function<void(std::uint64_t)>& copied) {
    const Descriptor source(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (!source.isOpen() && errno != ENOENT && errno != ELOOP)
        throw FileError("read", path, errno);
    if (!source.isOpen() || !isUnchanged(source.get(), item))
        throw HFSPlusError(HFSPlusError::Changed{item.path});
    for (std::uint64_t done = 0; done < item.size;) {
        const std::size_t count =
            copyPiece(source.get(), done, offset + done, std::min(item.size - done, pieceSize), path);
        if (count == 0)
            throw HFSPlusError(HFSPlusError::Changed{item.path});
        done += count;
        copied(count);
    }
    if (!isUnchanged(source.get(), item))
        throw HFSPlusError(HFSPlusError::Changed{item.path});
}

std::size_t ImageOutput::copyPiece(int source, std::uint64_t sourceOffset, std::uint64_t offset,
                                   std::uint64_t count, const std::filesystem::path& path) {
    if (systemCopies) {
        auto from = static_cast<off_t>(sourceOffset);
        auto to = static_cast<off_t>(start + offset);
        const ssize_t copied = ::copy_file_range(source, &from, descriptor, &to, count, 0);
        if (copied > 0)
            return static_cast<std::size_t>(copied);
        // Across file systems, or on one that cannot: read and write say what is wrong, if anything is.
        systemCopies = false;
    }
    buffer.resize(pieceSize);
    for (;;) {
        const ssize_t got = ::pread(source, buffer.data(), count, static_cast<off_t>(sourceOffset));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            throw FileError("read", path, errno);
        write(offset, ByteView(buffer).first(static_cast<std::size_t>(got)));
        return static_cast<std::size_t>(got);
    }
}

} // namespace halvo::hfsplus
