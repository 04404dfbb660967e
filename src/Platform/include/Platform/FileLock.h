#pragma once

#include <Platform/Descriptor.h>

#include <filesystem>
#include <optional>

namespace halvo {

/// An exclusive lock of a file against everyone else who asks for one, until the object goes or the process
/// ends. The file is made when it is missing (mode 0600) and stays.
class FileLock {
public:
    /// Waits for whoever has it. Throws FileError.
    explicit FileLock(const std::filesystem::path& path);
    /// Absent when somebody else has it. Throws FileError.
    static std::optional<FileLock> tryLock(const std::filesystem::path& path);

private:
    explicit FileLock(Descriptor opened) : file(std::move(opened)) {}

    Descriptor file;
};

} // namespace halvo
