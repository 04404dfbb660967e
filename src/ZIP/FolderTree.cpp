#include "FolderTree.h"

#include <Platform/Files.h>
#include <ZIP/ZIPError.h>

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>

namespace halvo::zip {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void failToRead(const fs::path& path, int code) {
    if (code == ENOENT) // it was listed a moment ago
        throw ZIPError(ZIPError::Changed{path.string()});
    throw FileError("read", path, code);
}

TreeEntry describeEntry(const fs::path& path, const std::string& name) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        failToRead(path, errno);
    TreeEntry entry{.name = name, .path = path, .identity = identityOf(status)};
    entry.permissions = status.st_mode & 0777;
    if (S_ISDIR(status.st_mode)) {
        entry.kind = TreeEntry::Kind::folder;
        entry.name += '/';
    } else if (S_ISLNK(status.st_mode)) {
        entry.kind = TreeEntry::Kind::link;
        std::error_code failed;
        entry.target = fs::read_symlink(path, failed).string();
        if (failed)
            failToRead(path, failed.value());
    } else if (!S_ISREG(status.st_mode)) {
        throw ZIPError(ZIPError::SpecialFile{path.string()});
    }
    return entry;
}

fs::path withoutTrailingSlash(const fs::path& folder) {
    const fs::path plain = folder.lexically_normal();
    return plain.has_filename() ? plain : plain.parent_path();
}

} // namespace

FileIdentity identityOf(const struct stat& status) {
    return {.device = status.st_dev,
            .number = status.st_ino,
            .size = static_cast<std::uint64_t>(status.st_size),
            .modifiedSeconds = status.st_mtim.tv_sec,
            .modifiedNanoseconds = status.st_mtim.tv_nsec};
}

std::vector<TreeEntry> listTree(const fs::path& folder, const std::stop_token& cancellation) {
    const fs::path top = withoutTrailingSlash(fs::absolute(folder));
    struct stat status {};
    if (::stat(top.c_str(), &status) != 0)
        throw FileError("read", folder, errno);
    if (!S_ISDIR(status.st_mode) || top.filename().empty())
        throw ZIPError(ZIPError::NotAFolder{folder.string()});

    std::vector<TreeEntry> entries{{.kind = TreeEntry::Kind::folder,
                                    .name = top.filename().string() + "/",
                                    .path = top,
                                    .identity = identityOf(status),
                                    .permissions = static_cast<unsigned>(status.st_mode & 0777)}};
    for (std::size_t next = 0; next < entries.size(); ++next) { // grows while folders are read
        if (cancellation.stop_requested())
            throw CancelledError();
        if (entries[next].kind != TreeEntry::Kind::folder)
            continue;
        const fs::path path = entries[next].path;
        const std::string prefix = entries[next].name;
        std::error_code failed;
        fs::directory_iterator items(path, failed);
        for (; !failed && items != fs::directory_iterator(); items.increment(failed))
            entries.push_back(describeEntry(items->path(), prefix + items->path().filename().string()));
        if (failed)
            failToRead(path, failed.value());
    }
    std::ranges::sort(entries, {}, &TreeEntry::name);
    return entries;
}

} // namespace halvo::zip
