#include <Platform/CopyTree.h>

#include <Platform/Descriptor.h>

#include <array>
#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

/// Permissions, set-user-id and sticky bits.
constexpr mode_t permissionBits = 07777;
/// After as many bytes a copy looks whether it is still wanted.
constexpr std::size_t copyStep = std::size_t{16} << 20;

struct stat statusOf(const fs::path& path) {
    struct stat status {};
    if (::lstat(path.c_str(), &status) != 0)
        throw FileError("read", path, errno);
    return status;
}

void check(int result, const char* action, const fs::path& path) {
    if (result != 0)
        throw FileError(action, path, errno);
}

std::vector<fs::path> namesIn(const fs::path& folder) {
    std::vector<fs::path> names;
    std::error_code error;
    for (fs::directory_iterator entry(folder, error); !error && entry != fs::directory_iterator();
         entry.increment(error))
        names.push_back(entry->path().filename());
    if (error)
        throw FileError("read", folder, error.value());
    return names;
}

class TreeCopy {
public:
    explicit TreeCopy(const CopyTreeOptions& options) : options(options) {}

    void copyFolder(const fs::path& source, const fs::path& destination, const struct stat& status) {
        // Writable while it is filled, whatever it is to become.
        check(::mkdir(destination.c_str(), 0700), "create", destination);
        for (const fs::path& name : namesIn(source))
            copyEntry(source / name, destination / name);
        check(::chmod(destination.c_str(), status.st_mode & permissionBits), "change", destination);
        keepTime(destination, status);
    }

    /// The content of all files, for the total.
    void measure(const fs::path& folder) {
        for (const fs::path& name : namesIn(folder)) {
            const struct stat status = statusOf(folder / name);
            if (S_ISDIR(status.st_mode))
                measure(folder / name);
            else if (S_ISREG(status.st_mode))
                total += static_cast<std::uint64_t>(status.st_size);
        }
    }

private:
    void copyEntry(const fs::path& source, const fs::path& destination) {
        if (options.cancellation.stop_requested())
            throw CancelledError();
        const struct stat status = statusOf(source);
        if (S_ISDIR(status.st_mode))
            return copyFolder(source, destination, status);
        if (S_ISLNK(status.st_mode))
            return copyLink(source, destination, status);
        if (!S_ISREG(status.st_mode))
            throw FileError("copy", source, EINVAL);
        copyFile(source, destination, status);
    }

    static void copyLink(const fs::path& source, const fs::path& destination, const struct stat& status) {
        std::error_code error;
        const fs::path target = fs::read_symlink(source, error);
        if (error)
            throw FileError("read", source, error.value());
        check(::symlink(target.c_str(), destination.c_str()), "create", destination);
        keepTime(destination, status);
    }

    void copyFile(const fs::path& source, const fs::path& destination, const struct stat& status) {
        const Descriptor from(::open(source.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
        if (!from.isOpen())
            throw FileError("read", source, errno);
        Descriptor to(::open(destination.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
        if (!to.isOpen())
            throw FileError("create", destination, errno);
        if (::ioctl(to.get(), FICLONE, from.get()) == 0)
            advance(static_cast<std::uint64_t>(status.st_size));
        else
            copyContent(from, to, source, destination);
        check(::fchmod(to.get(), status.st_mode & permissionBits), "change", destination);
        check(to.close() ? 0 : -1, "write", destination);
        keepTime(destination, status);
    }

    void copyContent(const Descriptor& from, const Descriptor& to, const fs::path& source,
                     const fs::path& destination) {
        while (true) {
            const ssize_t count = ::copy_file_range(from.get(), nullptr, to.get(), nullptr, copyStep, 0);
            if (count < 0 && errno == EINTR)
                continue;
            if (count < 0 && (errno == EXDEV || errno == EINVAL || errno == ENOSYS || errno == EOPNOTSUPP))
                return copyThroughMemory(from, to, source, destination);
            if (count < 0)
                throw FileError("write", destination, errno);
            if (count == 0)
                return;
            advance(static_cast<std::uint64_t>(count));
        }
    }

    /// For file systems between which the system itself does not copy. Goes on where both stand.
    void copyThroughMemory(const Descriptor& from, const Descriptor& to, const fs::path& source,
                           const fs::path& destination) {
        std::vector<char> buffer(std::size_t{1} << 20);
        while (true) {
            const ssize_t count = ::read(from.get(), buffer.data(), buffer.size());
            if (count < 0 && errno == EINTR)
                continue;
            if (count < 0)
                throw FileError("read", source, errno);
            if (count == 0)
                return;
            for (ssize_t written = 0; written < count;) {
                const ssize_t more =
                    ::write(to.get(), buffer.data() + written, static_cast<std::size_t>(count - written));
                if (more < 0 && errno != EINTR)
                    throw FileError("write", destination, errno);
                written += more < 0 ? 0 : more;
            }
            advance(static_cast<std::uint64_t>(count));
        }
    }

    static void keepTime(const fs::path& path, const struct stat& status) {
        const std::array<timespec, 2> times{status.st_atim, status.st_mtim};
        check(::utimensat(AT_FDCWD, path.c_str(), times.data(), AT_SYMLINK_NOFOLLOW), "change", path);
    }

    void advance(std::uint64_t count) {
        done += count;
        if (options.progress)
            options.progress(done, total);
        if (options.cancellation.stop_requested())
            throw CancelledError();
    }

    const CopyTreeOptions& options;
    std::uint64_t done = 0;
    std::uint64_t total = 0;
};

} // namespace

void copyTree(const fs::path& source, const fs::path& destination, const CopyTreeOptions& options) {
    struct stat status {};
    check(::stat(source.c_str(), &status), "read", source);
    if (!S_ISDIR(status.st_mode))
        throw FileError("copy", source, ENOTDIR);
    TreeCopy copy(options);
    if (options.progress)
        copy.measure(source);
    copy.copyFolder(source, destination, status);
}

} // namespace halvo
