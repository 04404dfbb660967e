#include "DiskReader.h"

#include <DiskImage/DiskImageError.h>
#include <Platform/Files.h>

#include <algorithm>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace halvo {
namespace {

bool isUnchanged(int descriptor, const VolumeItem& item) {
    struct stat status {};
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode) &&
           static_cast<std::uint64_t>(status.st_size) == item.sourceSize &&
           status.st_mtim.tv_sec == item.sourceModified.tv_sec &&
           status.st_mtim.tv_nsec == item.sourceModified.tv_nsec;
}

[[noreturn]] void failChanged(const VolumeItem& item) {
    throw DiskImageError(DiskImageError::Changed{item.source.string()});
}

} // namespace

void DiskReader::read(std::span<std::uint8_t> into) {
    while (!into.empty()) {
        const DiskPiece& piece = pieces[current];
        const std::uint64_t content = piece.file != nullptr ? piece.file->size() : piece.bytes.size();
        const bool isPadding = position >= content;
        const std::size_t count =
            std::min<std::uint64_t>(into.size(), (isPadding ? piece.size : content) - position);
        if (!isPadding && piece.file != nullptr)
            readFile(*piece.file, into.first(count));
        else if (!isPadding)
            std::ranges::copy(ByteView(piece.bytes).subspan(position, count), into.begin());
        into = into.subspan(count);
        position += count;
        if (position == piece.size) {
            ++current;
            position = 0;
        }
    }
}

void DiskReader::readFile(const VolumeItem& item, std::span<std::uint8_t> into) {
    if (position == 0) {
        file = Descriptor(::open(item.source.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
        if (!file.isOpen() && errno != ENOENT && errno != ELOOP)
            throw FileError("read", item.source, errno);
        if (!file.isOpen() || !isUnchanged(file.get(), item))
            failChanged(item);
    }
    const std::uint64_t end = position + into.size();
    while (!into.empty()) {
        const ssize_t count = ::read(file.get(), into.data(), into.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw FileError("read", item.source, errno);
        if (count == 0)
            failChanged(item);
        into = into.subspan(static_cast<std::size_t>(count));
    }
    if (end == item.size()) {
        if (!isUnchanged(file.get(), item))
            failChanged(item);
        file.close();
    }
}

} // namespace halvo
