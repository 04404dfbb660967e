#include "NewFile.h"

#include <Base/UUID.h>
#include <Platform/Files.h>

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace halvo {
namespace {

constexpr mode_t permissions = 0644;

/// Where the system shows an open file, which is how one without a name gets its first.
std::filesystem::path shownPath(int descriptor) { return "/proc/self/fd/" + std::to_string(descriptor); }

std::filesystem::path temporaryName(const std::filesystem::path& destination) {
    const std::string start = destination.filename().string().substr(0, 100); // a name has 255 bytes at most
    return destination.parent_path() / ("." + start + "." + UUID::random().string());
}

} // namespace

NewFile::NewFile(std::filesystem::path to) : destination(std::filesystem::absolute(to)) {
    file =
        Descriptor(::open(destination.parent_path().c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, permissions));
    if (file.isOpen() && ::access(shownPath(file.get()).c_str(), F_OK) == 0)
        return;
    temporary = temporaryName(destination); // NFS, FUSE, or a system without /proc
    file = Descriptor(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions));
    if (!file.isOpen()) {
        const int code = errno;
        temporary.clear();
        throw FileError("write", destination, code);
    }
}

NewFile::~NewFile() {
    if (!temporary.empty())
        ::unlink(temporary.c_str());
}

void NewFile::append(ByteView bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(file.get(), bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            throw FileError("write", destination, errno);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
}

bool NewFile::publish() {
    if (::fsync(file.get()) != 0)
        throw FileError("write", destination, errno);
    const int linked = temporary.empty() ? ::linkat(AT_FDCWD, shownPath(file.get()).c_str(), AT_FDCWD,
                                                    destination.c_str(), AT_SYMLINK_FOLLOW)
                                         : ::link(temporary.c_str(), destination.c_str());
    if (linked == 0)
        return true;
    if (errno == EEXIST)
        return false;
    if (temporary.empty())
        throw FileError("write", destination, errno);
    return publishByRenaming();
}

/// For file systems without hard links: an empty file of its own takes the name first, since only that is
/// refused where a file is, and gives way.
bool NewFile::publishByRenaming() {
    const Descriptor place(::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, permissions));
    if (!place.isOpen() && errno == EEXIST)
        return false;
    if (!place.isOpen() || ::rename(temporary.c_str(), destination.c_str()) != 0) {
        const int code = errno;
        if (place.isOpen())
            ::unlink(destination.c_str());
        throw FileError("write", destination, code);
    }
    temporary.clear();
    return true;
}

} // namespace halvo
