#pragma once

#include <Base/Date.h>
#include <Platform/Environment.h>
#include <Platform/FileLock.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// A disk image that is unfolded into a folder, since nothing here mounts it.
struct AttachedVolume {
    std::string device{};               ///< "disk4"
    std::filesystem::path imagePath{};  ///< absolute, without links
    std::filesystem::path mountPoint{}; ///< the folder that stands for the volume, alike
    std::string mapHint{};    ///< of the partition map: "GUID_partition_scheme"; empty without a map
    std::string volumeHint{}; ///< "Apple_HFS"
    std::string partition{};  ///< "disk4s1"; the device itself without a map
    std::string name{};       ///< the volume's
    Date creationDate{};      ///< the volume's
    bool isWritable = false;  ///< the folder is folded back into the image
    bool hasCustomIcon = false;
    std::optional<Date> latestDate{}; ///< later dates of files become this one in the image
    std::string fingerprint{};        ///< of the folder as it was unfolded

    /// From inode numbers of the folder's items to their numbers in the volume's catalog.
    std::map<std::uint64_t, std::uint32_t> catalogIDs{};
    std::uint32_t nextCatalogID = 0; ///< of the next new item; 0 for a volume whose numbers are not known

    bool operator==(const AttachedVolume&) const = default;
};

/// The attached images of a user, and the folders that stand for their volumes: below `halvo-volumes-<user>`,
/// in `TMPDIR` or /tmp, mode 0700. For each device a folder with its record, its lock and the volume.
///
/// Any number of processes may use it. A record whose volume is gone counts as none. Throws FileError where
/// the system refuses something, also when the folder belongs to somebody else or is open to others.
class AttachedVolumes {
public:
    explicit AttachedVolumes(std::filesystem::path folder) : folder(std::move(folder)) {}
    /// Those of the user that this process runs as.
    static AttachedVolumes ofUser(const Environment& environment);

    /// In the order of their devices.
    std::vector<AttachedVolume> list() const;
    /// The volume that the path lies on, or is the mount point of.
    std::optional<AttachedVolume> find(const std::filesystem::path& path) const;
    std::optional<AttachedVolume> findDevice(const std::string& device) const;

    /// The number that a file has or will have in the volume's catalog: a new file gets the next one, which
    /// is kept for it. Absent for a path on no attached volume, or on one without numbers.
    std::optional<std::uint64_t> fileID(const std::filesystem::path& path) const;
    /// The date that a file will have in the image; absent for a path on no attached volume.
    std::optional<Date> creationDate(const std::filesystem::path& path) const;
    /// Changes the record of a device; absent when it is gone meanwhile.
    std::optional<AttachedVolume> change(const std::string& device,
                                         const std::function<void(AttachedVolume&)>& edit) const;

    /// A device in the making or on its way out: nobody else changes it.
    class Slot {
    public:
        const std::string& device() const { return name; }
        /// A folder for nobody else, with mode 0700; removed with the device.
        const std::filesystem::path& path() const { return folder; }
        /// An empty folder for the volume, named after it as far as a file name can be. Made with mode 0700.
        std::filesystem::path makeMountPoint(const std::string& volumeName) const;
        /// Absent when there is none, or its volume is gone.
        std::optional<AttachedVolume> record() const;
        /// From here on the volume is attached, or changed.
        void store(const AttachedVolume& volume) const;
        /// Removes everything.
        void remove() const;

    private:
        friend class AttachedVolumes;
        Slot(std::filesystem::path folder, FileLock lock);
        std::filesystem::path folder;
        std::string name;
        FileLock lock;
    };

    /// A new device. Removes what broken-off runs left.
    Slot reserve() const;
    /// Waits until nobody else changes the device; absent when it is not attached any more.
    std::optional<Slot> lock(const std::string& device) const;
    /// Leaves nothing of the folder when no image is attached any more.
    void removeUnusedFolder() const;

private:
    FileLock lockRegistry() const;
    std::vector<std::string> devices() const;
    std::filesystem::path folder;
};

} // namespace halvo
