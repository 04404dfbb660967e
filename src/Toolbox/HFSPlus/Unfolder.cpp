#include "Unfolder.h"

#include "Format.h"

#include <HFSPlus/HFSPlusError.h>
#include <Platform/Descriptor.h>
#include <Platform/Files.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace halvo::hfsplus {
namespace {

namespace fs = std::filesystem;
using Kind = VolumeItem::Kind;

constexpr std::size_t pieceSize = 1u << 20;

bool isZero(ByteView bytes) {
    return bytes[0] == 0 && std::memcmp(bytes.data(), bytes.data() + 1, bytes.size() - 1) == 0;
}

/// While this works, the folder has no links but hard ones, so that no path leads out of it.
class Unfolder {
public:
    Unfolder(const std::vector<VolumeItem>& items, const VolumeBlocks& volume, const fs::path& root,
             const Progress& progress, const std::stop_token& cancellation)
        : items(items), volume(volume), root(root), progress(progress), cancellation(cancellation) {}

    void run() {
        for (const VolumeItem& item : items)
            if (item.kind == Kind::folder && !item.path.empty())
                check(::mkdir(pathOf(item).c_str(), 0700), item);
        makeFiles();
        for (const VolumeItem& item : items)
            if (item.kind == Kind::hardLink)
                check(::link((root / item.original).c_str(), pathOf(item).c_str()), item);
        for (const VolumeItem& item : items)
            if (item.kind == Kind::link)
                makeLink(item);
        for (auto item = items.rbegin(); item != items.rend();
             ++item) // what is in a folder before the folder
            if (item->kind == Kind::folder)
                finishFolder(*item);
    }

private:
    fs::path pathOf(const VolumeItem& item) const { return item.path.empty() ? root : root / item.path; }

    void check(int result, const VolumeItem& item) const {
        if (result == 0)
            return;
        if (errno == EEXIST)
            failDamaged("two items have the path \"" + item.path + "\"");
        throw FileError("create", pathOf(item), errno);
    }

    void makeFiles() {
        std::vector<const VolumeItem*> files;
        for (const VolumeItem& item : items) {
            if (item.kind != Kind::file)
                continue;
            files.push_back(&item);
            total += item.data.size;
        }
        const auto place = [](const VolumeItem* item) {
            return item->data.extents.empty() ? 0 : item->data.extents.front().firstBlock;
        };
        std::stable_sort(files.begin(), files.end(), [&](const VolumeItem* left, const VolumeItem* right) {
            return place(left) < place(right);
        });
        for (const VolumeItem* file : files)
            makeFile(*file);
    }

    void makeFile(const VolumeItem& item) {
        const fs::path path = pathOf(item);
        Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
        check(file.isOpen() ? 0 : -1, item);
        if (::ftruncate(file.get(), static_cast<off_t>(item.data.size)) != 0)
            throw FileError("write", path, errno);
        for (std::uint64_t position = 0; position < item.data.size;) {
            if (cancellation.stop_requested())
                throw CancelledError();
            buffer.resize(
                static_cast<std::size_t>(std::min<std::uint64_t>(pieceSize, item.data.size - position)));
            volume.read(item.data, position, buffer);
            if (!isZero(buffer)) // zeros are there already, and need no room
                writeAt(file, position, path);
            position += buffer.size();
            done += buffer.size();
            if (progress)
                progress(done, total);
        }
        setDate(file.get(), item);
        if (::fchmod(file.get(), item.permissions) != 0 || !file.close())
            throw FileError("write", path, errno);
    }

    void writeAt(const Descriptor& file, std::uint64_t position, const fs::path& path) const {
        for (ByteView rest = buffer; !rest.empty();) {
            const ssize_t count =
                ::pwrite(file.get(), rest.data(), rest.size(), static_cast<off_t>(position));
            if (count < 0 && errno == EINTR)
                continue;
            if (count < 0)
                throw FileError("write", path, errno);
            rest = rest.subspan(static_cast<std::size_t>(count));
            position += static_cast<std::uint64_t>(count);
        }
    }

    void makeLink(const VolumeItem& item) const {
        if (item.data.size == 0 || item.data.size > longestTarget)
            failDamaged("the target of the link \"" + item.path + "\" has an impossible length");
        std::string target(static_cast<std::size_t>(item.data.size), '\0');
        volume.read(item.data, 0, std::span(reinterpret_cast<std::uint8_t*>(target.data()), target.size()));
        if (target.find('\0') != target.npos)
            failDamaged("the target of the link \"" + item.path + "\" is no path");
        const fs::path path = pathOf(item);
        check(::symlink(target.c_str(), path.c_str()), item);
        const timespec times[] = {{.tv_sec = item.modified, .tv_nsec = 0},
                                  {.tv_sec = item.modified, .tv_nsec = 0}};
        if (::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW) != 0)
            throw FileError("write", path, errno);
    }

    void finishFolder(const VolumeItem& item) const {
        const fs::path path = pathOf(item);
        const Descriptor folder(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (!folder.isOpen() || ::fchmod(folder.get(), item.permissions) != 0)
            throw FileError("write", path, errno);
        setDate(folder.get(), item);
    }

    void setDate(int descriptor, const VolumeItem& item) const {
        const timespec times[] = {{.tv_sec = item.modified, .tv_nsec = 0},
                                  {.tv_sec = item.modified, .tv_nsec = 0}};
        if (::futimens(descriptor, times) != 0)
            throw FileError("write", pathOf(item), errno);
    }

    const std::vector<VolumeItem>& items;
    const VolumeBlocks& volume;
    const fs::path& root;
    const Progress& progress;
    const std::stop_token& cancellation;
    Bytes buffer{};
    std::uint64_t done = 0;
    std::uint64_t total = 0;
};

void requireEmptyFolder(const fs::path& folder) {
    std::error_code failed;
    const bool isEmpty = fs::directory_iterator(folder, failed) == fs::directory_iterator();
    if (failed)
        throw FileError("open", folder, failed.value());
    if (!isEmpty)
        throw FileError("unfold into", folder, ENOTEMPTY);
}

} // namespace

void unfoldItems(const std::vector<VolumeItem>& items, const VolumeBlocks& volume, const fs::path& folder,
                 const Progress& progress, const std::stop_token& cancellation) {
    std::error_code failed;
    const fs::path root = fs::canonical(folder, failed); // the folder itself may be reached through a link
    if (failed)
        throw FileError("open", folder, failed.value());
    requireEmptyFolder(root);
    try {
        Unfolder(items, volume, root, progress, cancellation).run();
    } catch (...) {
        for (fs::directory_iterator item(root, failed); !failed && item != fs::directory_iterator();
             item.increment(failed))
            removeQuietly(item->path());
        throw;
    }
}

} // namespace halvo::hfsplus
