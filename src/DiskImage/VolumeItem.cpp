#include <DiskImage/VolumeItem.h>

#include "HFSPlusFormat.h"

#include <DiskImage/DiskImageError.h>
#include <Platform/Files.h>

#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using Kind = VolumeItem::Kind;

constexpr mode_t writableForOthers = 0022;

Bytes readTarget(const fs::path& link) {
    Bytes target(hfsplus::longestTarget + 1);
    const ssize_t length = ::readlink(link.c_str(), reinterpret_cast<char*>(target.data()), target.size());
    if (length < 0)
        throw FileError("read", link, errno);
    target.resize(static_cast<std::size_t>(length));
    if (target.size() > hfsplus::longestTarget)
        throw DiskImageError(DiskImageError::LinkTooLong{link.string()});
    return target;
}

VolumeItem readItem(const fs::path& path, std::string name, bool followsLink) {
    struct stat status {};
    if ((followsLink ? ::stat(path.c_str(), &status) : ::lstat(path.c_str(), &status)) != 0)
        throw FileError("read", path, errno);
    VolumeItem item{.name = std::move(name),
                    .permissions = static_cast<unsigned>(status.st_mode & 07777 & ~writableForOthers),
                    .date = Date(std::chrono::seconds(hfsplus::representable(status.st_mtim.tv_sec)))};
    if (S_ISLNK(status.st_mode)) {
        item.kind = Kind::link;
        item.permissions = 0755;
        item.content = readTarget(path);
    } else if (S_ISREG(status.st_mode)) {
        item.kind = Kind::file;
        item.source = path;
        item.sourceSize = static_cast<std::uint64_t>(status.st_size);
        item.sourceModified = status.st_mtim;
    } else if (!S_ISDIR(status.st_mode)) {
        throw DiskImageError(DiskImageError::SpecialFile{path.string()});
    } else {
        std::error_code failed;
        for (fs::directory_iterator entry(path, failed); !failed && entry != fs::directory_iterator();
             entry.increment(failed))
            item.children.push_back(readItem(entry->path(), entry->path().filename().string(), false));
        if (failed)
            throw FileError("read", path, failed.value());
    }
    return item;
}

} // namespace

VolumeItem readVolumeItem(const fs::path& folder, std::string name) {
    VolumeItem item = readItem(folder, std::move(name), true);
    if (item.kind != Kind::folder)
        throw FileError("read", folder, ENOTDIR);
    return item;
}

} // namespace halvo
