#pragma once

#include <DiskImage/Compression.h>
#include <DiskImage/DiskImageError.h>
#include <Platform/AttachedVolumes.h>
#include <Platform/Environment.h>
#include <Platform/ProcessRunner.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace halvo {

/// What hdiutil does with disk images. Every operation throws DiskImageError, FileError, CancelledError, and
/// HFSPlusError for a folder that cannot become a volume, and leaves nothing half done.
class DiskImages {
public:
    struct Context {
        AttachedVolumes volumes;
        ProcessRunner& processes; ///< runs 7-Zip
        const Environment& environment;
        Date now{};
        std::stop_token cancellation{};
    };
    /// Told how many bytes are done, of how many.
    using Progress = std::function<void(std::uint64_t done, std::uint64_t total)>;
    /// In sectors of 512 bytes.
    struct Limits {
        std::uint64_t minimum = 0;
        std::uint64_t current = 0;
        std::uint64_t maximum = 0;
    };

    /// `SOURCE_DATE_EPOCH` in the environment is the latest date that a new image holds.
    explicit DiskImages(Context context);

    /// Writes a raw image with a GUID partition map and one HFS+ volume of the folder's content, and gives
    /// its path: `image`, with the extension "dmg" when it has another.
    std::filesystem::path create(const std::filesystem::path& folder, const std::string& volumeName,
                                 const std::filesystem::path& image, const Progress& progress = {});

    /// Of an image that create() made, or one that is laid out alike.
    Limits limits(const std::filesystem::path& image);
    /// Makes such an image larger or smaller, in place.
    void resize(const std::filesystem::path& image, std::uint64_t bytes);

    /// Unfolds the volume of an image into a folder. One that is attached already stays as it is. Images that
    /// cannot be written back are read-only whatever is asked for. `verify` compares an image's checksums
    /// too.
    AttachedVolume attach(const std::filesystem::path& image, bool readOnly, bool verify);
    /// Writes what changed back into the image and removes the folder. `target` is a mount point or a device.
    /// Gives the device.
    std::string detach(const std::string& target);
    std::vector<AttachedVolume> attached() const { return context.volumes.list(); }

    /// Writes a compressed image to a new file and gives its path, as create() does.
    std::filesystem::path convert(const std::filesystem::path& image, const std::filesystem::path& output,
                                  Compression compression, const Progress& progress = {});

private:
    std::optional<AttachedVolume> attachedVolume(const std::filesystem::path& image) const;
    void unfoldForeign(const AttachedVolumes::Slot& slot, AttachedVolume& volume,
                       const std::string& reason) const;
    void writeBack(const AttachedVolume& volume) const;

    Context context;
    std::optional<Date> latestDate;
};

} // namespace halvo
