#include <Platform/VolumeFacts.h>

#include <Platform/Files.h>

#include <cerrno>
#include <chrono>

#include <fcntl.h>
#include <sys/stat.h>

namespace halvo {
namespace {

/// The components without a slash at the end.
std::filesystem::path withoutClosingSlash(const std::filesystem::path& path) {
    return path.has_filename() ? path : path.parent_path();
}

} // namespace

VolumeFacts::Info SystemVolumeFacts::info(const std::filesystem::path& mountPoint) const {
    Info info{.name = withoutClosingSlash(mountPoint).filename().string()};
    try {
        info.createDate = creationDate(mountPoint).value_or(Date());
    } catch (const FileError&) {
        info.createDate = Date(); // as for a volume that keeps no date
    }
    return info;
}

std::uint64_t SystemVolumeFacts::fileID(const std::filesystem::path& path) const {
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0)
        throw FileError("read", path, errno);
    return status.st_ino;
}

std::optional<Date> SystemVolumeFacts::creationDate(const std::filesystem::path& path) const {
    struct statx status {};
    if (::statx(AT_FDCWD, path.c_str(), AT_SYMLINK_NOFOLLOW, STATX_BTIME, &status) != 0)
        throw FileError("read", path, errno);
    if ((status.stx_mask & STATX_BTIME) == 0)
        return std::nullopt;
    return Date(std::chrono::seconds(status.stx_btime.tv_sec)) +
           std::chrono::microseconds(status.stx_btime.tv_nsec / 1000);
}

} // namespace halvo
