#include <HalvoNotarization/KeyFile.h>

#include <Base/UUID.h>

#include <cerrno>
#include <mutex>
#include <set>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

namespace halvo {
namespace {

/// The folders of this process. They stand outside every object for whoever ends the process at once.
struct OwnFolders {
    std::mutex mutex;
    std::set<std::filesystem::path> paths;
};

OwnFolders& ownFolders() {
    static OwnFolders folders;
    return folders;
}

/// A descriptor that holds the lock; not open when somebody else does, or when the folder is gone.
Descriptor lockFolder(const std::filesystem::path& folder) {
    Descriptor opened(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    struct stat status {};
    if (opened.isOpen() && ::flock(opened.get(), LOCK_EX | LOCK_NB) == 0 &&
        ::fstat(opened.get(), &status) == 0 && status.st_nlink > 0)
        return opened;
    return {};
}

bool hasNameOfKeyFolder(std::string_view name) {
    for (const std::string_view prefix : {"asc-", "halvo-asc-"})
        if (name.starts_with(prefix) && UUID::parse(name.substr(prefix.size())))
            return true;
    return false;
}

/// Whether a folder of that name was made here: the user's alone, with nothing but a key in it.
bool isKeyFolder(const std::filesystem::path& folder) {
    struct stat status {};
    if (!hasNameOfKeyFolder(folder.filename().string()) || ::lstat(folder.c_str(), &status) != 0 ||
        !S_ISDIR(status.st_mode) || status.st_uid != ::geteuid() || (status.st_mode & 07777) != 0700)
        return false;
    std::error_code failed;
    for (const auto& entry : std::filesystem::directory_iterator(folder, failed))
        if (entry.path().extension() != ".p8")
            return false;
    return !failed;
}

} // namespace

KeyFile::KeyFile(const std::filesystem::path& parent, std::string_view prefix, const std::string& name,
                 ByteView key) {
    const std::lock_guard held(ownFolders().mutex);
    // Before it is locked, another run may take the new folder for an abandoned one.
    for (int attempt = 0; !lock.isOpen() && attempt < 10; ++attempt) {
        folder.emplace(parent, prefix);
        lock = lockFolder(folder->path());
    }
    if (!lock.isOpen())
        throw FileError("lock", folder->path(), errno);
    ownFolders().paths.insert(folder->path());
    file = folder->path() / name;
    try {
        writeNewFile(file, key, 0600);
    } catch (...) {
        ownFolders().paths.erase(folder->path());
        throw;
    }
}

KeyFile::~KeyFile() {
    const std::lock_guard held(ownFolders().mutex);
    ownFolders().paths.erase(folder->path());
    folder.reset(); // while it is still locked
}

void KeyFile::removeAllForGood() noexcept {
    ownFolders().mutex.lock(); // stays locked
    for (const auto& path : ownFolders().paths)
        removeQuietly(path);
}

void KeyFile::removeAbandoned(const std::filesystem::path& parent) noexcept {
    std::error_code failed;
    for (std::filesystem::directory_iterator entry(parent, failed);
         !failed && entry != std::filesystem::directory_iterator(); entry.increment(failed))
        if (isKeyFolder(entry->path()))
            if (const Descriptor lock = lockFolder(entry->path()); lock.isOpen())
                removeQuietly(entry->path());
}

} // namespace halvo
