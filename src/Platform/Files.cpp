#include <Platform/Files.h>

#include <Platform/Descriptor.h>

#include <Base/UUID.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace halvo {
namespace {

struct OpenedFile {
    Descriptor descriptor;
    std::uint64_t size;
};

OpenedFile openRegularFile(const std::filesystem::path& path) {
    // Without O_NONBLOCK, opening a named pipe would wait for a writer.
    Descriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (!descriptor.isOpen() || ::fstat(descriptor.get(), &status) != 0)
        throw FileError("read", path, errno);
    if (S_ISDIR(status.st_mode))
        throw FileError("read", path, EISDIR);
    if (!S_ISREG(status.st_mode))
        throw FileError("read", path, EINVAL);
    return {std::move(descriptor), static_cast<std::uint64_t>(status.st_size)};
}

void writeAll(const Descriptor& descriptor, ByteView bytes, const std::filesystem::path& path) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor.get(), bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            throw FileError("write", path, errno);
        bytes = bytes.subspan(static_cast<std::size_t>(written));
    }
}

void createFile(const std::filesystem::path& path, ByteView bytes, unsigned mode) {
    Descriptor descriptor(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, mode));
    if (!descriptor.isOpen())
        throw FileError("write", path, errno);
    try {
        writeAll(descriptor, bytes, path);
        if (::fsync(descriptor.get()) != 0 || !descriptor.close())
            throw FileError("write", path, errno);
    } catch (...) {
        removeQuietly(path);
        throw;
    }
}

/// A folder that its owner may not write to keeps what is in it from being removed.
void makeFoldersWritable(const std::filesystem::path& folder) noexcept {
    std::error_code ignored;
    const auto open = [&ignored](const std::filesystem::path& path) {
        std::filesystem::permissions(path, std::filesystem::perms::owner_all,
                                     std::filesystem::perm_options::add, ignored);
    };
    if (!std::filesystem::is_directory(std::filesystem::symlink_status(folder, ignored)))
        return;
    open(folder);
    for (std::filesystem::directory_iterator entry(folder, ignored);
         !ignored && entry != std::filesystem::directory_iterator(); entry.increment(ignored))
        makeFoldersWritable(entry->path());
}

} // namespace

FileError::FileError(std::string_view action, const std::filesystem::path& path, int code)
    : Failure("Could not " + std::string(action) + " " + path.string() + ": " + std::strerror(code)),
      code(code) {}

MappedFile::MappedFile(const std::filesystem::path& path) {
    const OpenedFile file = openRegularFile(path);
    if (file.size == 0)
        return;
    void* address = ::mmap(nullptr, file.size, PROT_READ, MAP_PRIVATE, file.descriptor.get(), 0);
    if (address == MAP_FAILED)
        throw FileError("read", path, errno);
    ::madvise(address, file.size, MADV_SEQUENTIAL);
    view = {static_cast<const std::uint8_t*>(address), static_cast<std::size_t>(file.size)};
}

MappedFile::MappedFile(MappedFile&& other) noexcept : view(std::exchange(other.view, {})) {}

MappedFile& MappedFile::operator=(MappedFile&& other) noexcept {
    std::swap(view, other.view);
    return *this;
}

MappedFile::~MappedFile() {
    if (!view.empty())
        ::munmap(const_cast<std::uint8_t*>(view.data()), view.size());
}

Bytes readFile(const std::filesystem::path& path, std::uint64_t limit) {
    const OpenedFile file = openRegularFile(path);
    if (file.size > limit)
        throw FileError("read", path, EFBIG);
    Bytes bytes(static_cast<std::size_t>(file.size));
    std::size_t filled = 0;
    while (filled < bytes.size()) {
        const ssize_t count = ::read(file.descriptor.get(), bytes.data() + filled, bytes.size() - filled);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0)
            throw FileError("read", path, errno);
        if (count == 0)
            break;
        filled += static_cast<std::size_t>(count);
    }
    bytes.resize(filled);
    return bytes;
}

void writeFileAtomically(const std::filesystem::path& path, ByteView bytes, unsigned mode) {
    const std::filesystem::path temporary =
        path.parent_path() / ("." + path.filename().string() + "." + UUID::random().string());
    createFile(temporary, bytes, mode);
    if (::rename(temporary.c_str(), path.c_str()) != 0) {
        const int code = errno;
        removeQuietly(temporary);
        throw FileError("write", path, code);
    }
}

void writeNewFile(const std::filesystem::path& path, ByteView bytes, unsigned mode) {
    createFile(path, bytes, mode);
}

void removeQuietly(const std::filesystem::path& path) noexcept {
    std::error_code error;
    std::filesystem::remove_all(path, error);
    if (!error)
        return;
    makeFoldersWritable(path);
    std::filesystem::remove_all(path, error);
}

TemporaryDirectory::TemporaryDirectory(const std::filesystem::path& parent, std::string_view prefix)
    : location(parent / (std::string(prefix) + UUID::random().string())) {
    if (::mkdir(location.c_str(), 0700) != 0)
        throw FileError("create", std::exchange(location, {}), errno);
}

TemporaryDirectory::TemporaryDirectory(TemporaryDirectory&& other) noexcept
    : location(std::exchange(other.location, {})) {}

TemporaryDirectory::~TemporaryDirectory() {
    if (!location.empty())
        removeQuietly(location);
}

std::filesystem::path TemporaryDirectory::release() { return std::exchange(location, {}); }

} // namespace halvo
