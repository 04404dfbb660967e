#pragma once

#include <Base/Date.h>

#include <cstdint>
#include <filesystem>
#include <functional>
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

/// Folders of this system, which stand for the volumes that will be made of them.
class SystemVolumeFacts final : public VolumeFacts {
public:
    /// The number that a file has in a catalog of our own making; absent for a file that it does not know.
    using FileIDSource = std::function<std::optional<std::uint64_t>(const std::filesystem::path&)>;

    /// Files that `source` does not know, or all without one, have their inode numbers.
    explicit SystemVolumeFacts(FileIDSource source = {});

    Info info(const std::filesystem::path& mountPoint) const override;
    std::uint64_t fileID(const std::filesystem::path& path) const override;
    std::optional<Date> creationDate(const std::filesystem::path& path) const override;

private:
    FileIDSource source;
};

} // namespace halvo
