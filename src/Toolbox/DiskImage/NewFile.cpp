#include "NewFile.h"

#include <Base/UUID.h>
#include <DiskImage/DiskImageError.h>
#include <Platform/Files.h>

#include <cerrno>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace halvo {

void writeAt(int file, const std::filesystem::path& path, std::uint64_t offset, ByteView bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            throw FileError("write", path, errno);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
        offset += static_cast<std::size_t>(written);
    }
}

NewFile::NewFile(std::filesystem::path to)
    : destination(std::move(to)),
      temporary(destination.parent_path() /
                ("." + destination.filename().string().substr(0, 100) + "." + UUID::random().string())),
      file(::open(temporary.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0644)) {
    if (!file.isOpen())
        throw FileError("write", destination, errno);
}

NewFile::~NewFile() {
    if (!temporary.empty())
        ::unlink(temporary.c_str());
}

void NewFile::resize(std::uint64_t size) {
    if (::ftruncate(file.get(), static_cast<off_t>(size)) != 0)
        throw FileError("write", destination, errno);
}

void NewFile::sync() {
    if (::fsync(file.get()) != 0)
        throw FileError("write", destination, errno);
}

void NewFile::publish() {
    sync();
    if (::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, destination.c_str(), RENAME_NOREPLACE) != 0) {
        if (errno == EEXIST)
            throw DiskImageError(DiskImageError::System{EEXIST});
        throw FileError("write", destination, errno);
    }
    temporary.clear();
}

void NewFile::replace() {
    struct stat old {};
    if (::stat(destination.c_str(), &old) != 0 || ::fchmod(file.get(), old.st_mode & 07777) != 0)
        throw FileError("write", destination, errno);
    sync();
    if (::rename(temporary.c_str(), destination.c_str()) != 0)
        throw FileError("write", destination, errno);
    temporary.clear();
}

} // namespace halvo
