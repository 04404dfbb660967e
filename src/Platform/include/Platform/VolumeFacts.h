#pragma once

#include <Base/Date.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace halvo {

/// What a file system says about a mounted volume and its files.
class VolumeFacts {
public:
    struct Info {
        std::string name{};
        Date createDate{};
        bool operator==(const Info&) const = default;
    };

    virtual ~VolumeFacts() = default;
    /// The volume mounted there. Without a name, the last component of the path; without a date, the epoch.
    virtual Info info(const std::filesystem::path& mountPoint) const = 0;
    /// The number by which the volume's own catalog knows the file. Throws FileError.
    virtual std::uint64_t fileID(const std::filesystem::path& path) const = 0;
    /// Absent where the file system keeps none. Throws FileError.
    virtual std::optional<Date> creationDate(const std::filesystem::path& path) const = 0;
};

/// Folders of this system as if they were volumes.
class SystemVolumeFacts final : public VolumeFacts {
public:
    Info info(const std::filesystem::path& mountPoint) const override;
    /// The inode number.
    std::uint64_t fileID(const std::filesystem::path& path) const override;
    std::optional<Date> creationDate(const std::filesystem::path& path) const override;
};

} // namespace halvo
