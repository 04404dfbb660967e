#include "OpenImage.h"

#include <Platform/Files.h>

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace halvo {
namespace {

Descriptor openLocked(const std::filesystem::path& path, OpenImage::Access access) {
    const bool writes = access == OpenImage::Access::write;
    for (;;) {
        Descriptor file(::open(path.c_str(), (writes ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NONBLOCK));
        struct stat held {};
        if (!file.isOpen() || ::fstat(file.get(), &held) != 0)
            throw FileError("open", path, errno);
        if (!S_ISREG(held.st_mode))
            throw FileError("open", path, S_ISDIR(held.st_mode) ? EISDIR : EINVAL);
        while (::flock(file.get(), writes ? LOCK_EX : LOCK_SH) != 0)
            if (errno != EINTR)
                throw FileError("lock", path, errno);
        // Whoever had the lock may have put another file in its place.
        struct stat named {};
        if (::stat(path.c_str(), &named) != 0)
            throw FileError("open", path, errno);
        if (held.st_ino == named.st_ino && held.st_dev == named.st_dev)
            return file;
    }
}

std::uint64_t sizeOf(const Descriptor& file, const std::filesystem::path& path) {
    struct stat status {};
    if (::fstat(file.get(), &status) != 0)
        throw FileError("read", path, errno);
    return static_cast<std::uint64_t>(status.st_size);
}

} // namespace

OpenImage::OpenImage(const std::filesystem::path& path, Access access)
    : file(openLocked(path, access)), source(file.get(), 0, sizeOf(file, path)) {
    if (UDIFReader::recognizes(source))
        udif.emplace(source);
}

hfsplus::BlockSource& OpenImage::disk() {
    if (udif)
        return *udif;
    return source;
}

void OpenImage::verify(const std::stop_token& cancellation) {
    if (udif)
        udif->verify(cancellation);
}

} // namespace halvo
