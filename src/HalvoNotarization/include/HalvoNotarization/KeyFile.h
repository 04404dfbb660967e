#pragma once

#include <Base/Bytes.h>
#include <Platform/Descriptor.h>
#include <Platform/Files.h>

#include <optional>
#include <string>
#include <string_view>

namespace halvo {

/// A secret key as a file for a tool to read (0600 in a new folder, 0700). Both go with the object.
class KeyFile {
public:
    /// Makes `parent/<prefix><UUID>/<name>`; the prefix is "asc-" or "halvo-asc-". Throws FileError.
    KeyFile(const std::filesystem::path& parent, std::string_view prefix, const std::string& name,
            ByteView key);
    KeyFile(const KeyFile&) = delete;
    KeyFile& operator=(const KeyFile&) = delete;
    ~KeyFile();

    const std::filesystem::path& path() const { return file; }

    /// Removes all key files of this process, from any thread. For a process that ends without unwinding: no
    /// key file can be made or go any more.
    static void removeAllForGood() noexcept;
    /// Removes what killed processes left in `parent`.
    static void removeAbandoned(const std::filesystem::path& parent) noexcept;

private:
    std::optional<TemporaryDirectory> folder;
    Descriptor lock; ///< of the folder, held as long as it is in use: so others can tell that it is
    std::filesystem::path file;
};

} // namespace halvo
