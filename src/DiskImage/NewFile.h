#pragma once

#include <Base/Bytes.h>
#include <Platform/Descriptor.h>

#include <cstdint>
#include <filesystem>

namespace halvo {

/// A file that grows without a name, or under a temporary one where the file system cannot do that, and gets
/// its name at the end. Until then nothing of it stays when the object goes; without a name, not even when
/// the process is killed. Every operation throws FileError.
class NewFile {
public:
    explicit NewFile(std::filesystem::path destination);
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;
    ~NewFile();

    void append(ByteView bytes);
    /// Syncs and gives it its name; false when something has that name already.
    [[nodiscard]] bool publish();

private:
    bool publishByRenaming();

    std::filesystem::path destination;
    std::filesystem::path temporary; ///< empty for a file without a name
    Descriptor file;
};

} // namespace halvo
