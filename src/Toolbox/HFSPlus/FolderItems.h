#pragma once

#include <HFSPlus/VolumeContents.h>

#include <cstdint>
#include <string>
#include <vector>

#include <time.h>

namespace halvo::hfsplus {

/// What a folder holds and what a catalog says of it.
struct FolderItem {
    enum class Kind { folder, file, link };
    std::string path{};    ///< relative to the root, which has none
    std::u16string name{}; ///< as stored
    Kind kind = Kind::file;
    std::uint16_t mode = 0; ///< kind and permissions
    std::uint32_t date = 0; ///< seconds since 1904
    std::uint64_t size = 0; ///< of the data fork, bytes
    std::string target{};   ///< of a link
    timespec modified{};    ///< as found, to notice a change
    std::size_t parent = 0; ///< index of the folder
    CatalogID id = 0;
    std::size_t firstChild = 0; ///< index; the children follow each other
    std::size_t childCount = 0;
};

/// The root first, then every folder's children next to each other in catalog order. Numbered.
std::vector<FolderItem> readFolder(const std::filesystem::path& folder,
                                   const VolumeContents::Options& options);

/// In the dates of the format, clamped to what these reach (1904 to 2040).
std::uint32_t volumeDate(Date date);

} // namespace halvo::hfsplus
