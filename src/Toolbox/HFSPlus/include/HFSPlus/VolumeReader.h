#pragma once

#include <HFSPlus/BlockSource.h>
#include <HFSPlus/CatalogIDs.h>
#include <HFSPlus/HFSPlusError.h>
#include <HFSPlus/VolumeContents.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stop_token>

namespace halvo::hfsplus {

/// What a real volume of an app does not reach.
struct UnfoldLimits {
    std::uint64_t items = 500'000;
    std::uint64_t totalSize = std::uint64_t{64} << 30; ///< bytes of all files
};

/// Reads an HFS Plus volume whose content is not trusted. `Unsupported` are plain HFS, case-sensitive HFSX,
/// files that the file system compressed, links between folders and special files.
class VolumeReader {
public:
    /// The volume takes up `length` bytes at `offset` of the source, which must outlive the reader. Reads its
    /// header and its catalog. Throws HFSPlusError (`NotAVolume`, `Damaged`, `Unsupported`, `UnsafeName`,
    /// `TooLarge`, `ReadPastEnd`), and what the source raises.
    VolumeReader(BlockSource& source, std::uint64_t offset, std::uint64_t length,
                 const UnfoldLimits& limits = {});
    VolumeReader(VolumeReader&&) noexcept;
    VolumeReader& operator=(VolumeReader&&) noexcept;
    ~VolumeReader();

    const VolumeProperties& properties() const;
    std::uint32_t blockSize() const; ///< bytes
    std::uint32_t freeBlocks() const;
    std::uint32_t totalBlocks() const;
    CatalogID nextCatalogID() const;
    /// Of the files that unfold() makes, in bytes.
    std::uint64_t contentSize() const;

    /// Makes every item of the volume below a folder that exists, is empty, and is written to by nobody else.
    /// File data are read once and in the order in which they lie in the volume.
    ///
    /// Names are composed (NFC), the '/' that a stored name may hold becomes ':'. Permissions come without
    /// set-user-id, set-group-id and sticky bits, and with those that the owner needs to read files and to
    /// change folders; modification dates and links are kept, resource forks and extended attributes are not.
    /// Nothing is made outside the folder, whatever the volume says: links are made last and never followed.
    /// Where they lead is not checked.
    ///
    /// Throws as the constructor does, and FileError or CancelledError; the folder is empty then.
    CatalogIDs unfold(const std::filesystem::path& folder, const Progress& progress = {},
                      const std::stop_token& cancellation = {});

private:
    struct Volume;
    std::unique_ptr<Volume> volume;
};

} // namespace halvo::hfsplus
