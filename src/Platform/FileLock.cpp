#include <Platform/FileLock.h>

#include <Platform/Files.h>

#include <cerrno>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace halvo {
namespace {

/// Opens the file and locks it; absent when somebody else has the lock and `operation` does not wait.
std::optional<Descriptor> openLocked(const std::filesystem::path& path, int operation) {
    for (;;) {
        Descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        if (!file.isOpen())
            throw FileError("lock", path, errno);
        while (::flock(file.get(), operation) != 0) {
            if (errno == EWOULDBLOCK)
                return std::nullopt;
            if (errno != EINTR)
                throw FileError("lock", path, errno);
        }
        // The file may have been removed while this waited: the lock of another file of that name counts.
        struct stat held {};
        struct stat named {};
        if (::fstat(file.get(), &held) != 0)
            throw FileError("lock", path, errno);
        if (::stat(path.c_str(), &named) == 0 && held.st_ino == named.st_ino && held.st_dev == named.st_dev)
            return file;
    }
}

} // namespace

FileLock::FileLock(const std::filesystem::path& path) : file(openLocked(path, LOCK_EX).value()) {}

std::optional<FileLock> FileLock::tryLock(const std::filesystem::path& path) {
    std::optional<Descriptor> opened = openLocked(path, LOCK_EX | LOCK_NB);
    if (!opened)
        return std::nullopt;
    return FileLock(*std::move(opened));
}

} // namespace halvo
