#pragma once

#include <Base/Bytes.h>
#include <Base/Failure.h>

#include <cstdint>
#include <filesystem>
#include <utility>

namespace halvo {

/// A file operation that the system refused: "Could not read /a/b: Permission denied".
class FileError : public Failure {
public:
    /// `action` is a verb such as "read"; `code` is an errno value.
    FileError(std::string_view action, const std::filesystem::path& path, int code);
    int code; ///< the errno value
};

/// A regular file mapped for reading. It is never copied to the heap; the bytes live as long as this does.
/// An empty file gives no bytes. A file that another process shortens meanwhile ends the process (SIGBUS), so
/// only files that the user handed over or that this run made are mapped.
class MappedFile {
public:
    /// Throws FileError when the path is not a readable regular file.
    explicit MappedFile(const std::filesystem::path& path);
    MappedFile(MappedFile&& other) noexcept;
    MappedFile& operator=(MappedFile&& other) noexcept;
    MappedFile(const MappedFile&) = delete;
    MappedFile& operator=(const MappedFile&) = delete;
    ~MappedFile();

    ByteView bytes() const { return view; }

private:
    ByteView view;
};

/// The whole of a small file. Throws FileError, also when it is larger than `limit` bytes.
Bytes readFile(const std::filesystem::path& path, std::uint64_t limit = 64u << 20);

/// Replaces the file in one step: written to a temporary name in the same folder, synced, renamed. `mode` are
/// the permissions from the first byte on. Throws FileError and leaves the old file as it was.
void writeFileAtomically(const std::filesystem::path& path, ByteView bytes, unsigned mode = 0644);

/// Creates a file that must not exist yet, with `mode` from its first byte on (`O_EXCL`). Throws FileError.
void writeNewFile(const std::filesystem::path& path, ByteView bytes, unsigned mode = 0600);

/// Removes what is there, a whole folder too, and never fails: for temporary files that nobody misses.
void removeQuietly(const std::filesystem::path& path) noexcept;

/// Removes a file or folder, which may not exist yet, when the object goes.
class TemporaryPath {
public:
    explicit TemporaryPath(std::filesystem::path path) : location(std::move(path)) {}
    TemporaryPath(const TemporaryPath&) = delete;
    TemporaryPath& operator=(const TemporaryPath&) = delete;
    ~TemporaryPath() {
        if (!location.empty())
            removeQuietly(location);
    }

    const std::filesystem::path& path() const { return location; }
    /// Gives what is there to the caller; it is not removed here any more.
    std::filesystem::path release() { return std::exchange(location, {}); }

private:
    std::filesystem::path location;
};

/// A fresh folder that is removed with everything in it when the object goes.
class TemporaryDirectory {
public:
    /// Makes `parent/<prefix><UUID>` with mode 0700. Throws FileError.
    explicit TemporaryDirectory(const std::filesystem::path& parent, std::string_view prefix = "halvo-");
    TemporaryDirectory(TemporaryDirectory&& other) noexcept;
    TemporaryDirectory& operator=(TemporaryDirectory&&) = delete;
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    ~TemporaryDirectory();

    const std::filesystem::path& path() const { return location; }
    /// Gives the folder to the caller; it is not removed here any more.
    std::filesystem::path release();

private:
    std::filesystem::path location;
};

} // namespace halvo
