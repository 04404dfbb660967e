#pragma once

#include <Base/Date.h>
#include <HFSPlus/CatalogIDs.h>
#include <HFSPlus/HFSPlusError.h>

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

namespace halvo::hfsplus {

/// What a volume says of itself.
struct VolumeProperties {
    std::string name{}; ///< UTF-8; a ':' is stored as '/', which is how the Finder shows it
    Date creationDate{};
    /// Told apart from other volumes by this; macOS makes the volume's UUID of it.
    std::uint64_t identifier = 0;
    bool hasCustomIcon = false; ///< the file `.VolumeIcon.icns` in its root is the icon
};

/// Told on the caller's thread how many bytes of files are done, of how many.
using Progress = std::function<void(std::uint64_t done, std::uint64_t total)>;

/// A folder laid out as an HFS Plus volume (Apple TN1150): read once for names, kinds, sizes, permissions and
/// dates; the data of its files stay where they are until the volume is written.
///
/// Kept are permissions with set-user-id, set-group-id and sticky bits, modification dates (which are taken
/// for creation dates too) and links as links. Not kept are owners (everything belongs to the "unknown" user
/// and group 99, as whose items macOS shows those of whoever looks), further hard links (each is a file of
/// its own), extended attributes and access control lists.
///
/// Equal folders, options and arguments give equal bytes.
class VolumeContents {
public:
    struct Options {
        /// Later dates of items become this one.
        std::optional<Date> latestDate{};
        /// What items were numbered before: those still there keep their numbers, new ones get numbers above
        /// all of these. A number below `firstUserID` or used twice counts as new.
        CatalogIDs knownIDs{};
    };

    /// Throws FileError; HFSPlusError (`InvalidName`, `EqualNames`, `SpecialFile`, `LinkTooLong`,
    /// `TooLarge`).
    explicit VolumeContents(const std::filesystem::path& folder);
    VolumeContents(const std::filesystem::path& folder, const Options& options);
    VolumeContents(VolumeContents&&) noexcept;
    VolumeContents& operator=(VolumeContents&&) noexcept;
    ~VolumeContents();

    /// Of the smallest volume of that name that holds the content, in bytes: a multiple of the block size
    /// 4096. Throws HFSPlusError (`InvalidName`, `TooLarge`).
    std::uint64_t minimumSize(std::string_view volumeName) const;
    /// Of every item and of the root.
    const CatalogIDs& catalogIDs() const;

    /// Writes a clean volume of exactly `size` bytes, a multiple of 512, at `offset` of a file. That part of
    /// the file must read as zeros so far (a fresh file is made as long as needed): what stores nothing stays
    /// unwritten. Throws HFSPlusError (`InvalidName` for the volume's, `NoSpace`, `Changed`, `WriteFailed`),
    /// FileError, CancelledError.
    void write(int file, std::uint64_t offset, std::uint64_t size, const VolumeProperties& properties,
               const Progress& progress = {}, const std::stop_token& cancellation = {}) const;

private:
    struct Plan;
    std::unique_ptr<Plan> plan;
};

} // namespace halvo::hfsplus
