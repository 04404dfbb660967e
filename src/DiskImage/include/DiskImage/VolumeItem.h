#pragma once

#include <Base/Bytes.h>
#include <Base/Date.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include <time.h>

namespace halvo {

/// A file, folder or link that goes into a volume, with what lies in it.
struct VolumeItem {
    enum class Kind { folder, file, link };
    std::string name{}; ///< as file names are here: UTF-8, of any composition
    Kind kind = Kind::folder;
    unsigned permissions = 0755;
    Date date{};
    Bytes content{};                ///< of a file that is not on disk; the target of a link
    std::filesystem::path source{}; ///< of a file that is; it is read when the volume is written
    std::uint64_t sourceSize = 0;   ///< bytes
    timespec sourceModified{};      ///< to notice a change
    std::vector<VolumeItem> children{};

    std::uint64_t size() const { return source.empty() ? content.size() : sourceSize; }
};

/// A folder with everything below it, as it lies on disk: kinds, links, modification dates, and permissions
/// but those by which groups and others may write. Only the folder itself may be reached through a link.
/// Owners, extended attributes and access control lists are left out, and every hard link is a file of its
/// own.
///
/// Throws FileError and DiskImageError (`SpecialFile`, `LinkTooLong`).
VolumeItem readVolumeItem(const std::filesystem::path& folder, std::string name);

} // namespace halvo
