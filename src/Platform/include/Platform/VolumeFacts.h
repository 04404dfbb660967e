#pragma once

#include <Base/Date.h>
#include <Platform/AttachedVolumes.h>

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
        /// Where macOS mounts it, when that is not where it stands for now.
        std::optional<std::string> usualMountPoint{};
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

/// Folders of this system: those that stand for attached disk images (AttachedVolumes), and any other as if
/// it were a volume.
class SystemVolumeFacts final : public VolumeFacts {
public:
    /// Knows of no attached images: files have their inode numbers.
    SystemVolumeFacts() = default;
    /// Files of attached images have the numbers and dates that they will have in the image.
    explicit SystemVolumeFacts(AttachedVolumes attached) : attached(std::move(attached)) {}

    Info info(const std::filesystem::path& mountPoint) const override;
    std::uint64_t fileID(const std::filesystem::path& path) const override;
    std::optional<Date> creationDate(const std::filesystem::path& path) const override;

private:
    std::optional<AttachedVolumes> attached;
};

} // namespace halvo
