#pragma once

#include "TreeReader.h"

#include <HFSPlus/CatalogIDs.h>
#include <HFSPlus/VolumeReader.h>

#include <string>
#include <vector>

namespace halvo::hfsplus {

/// One item of a volume, checked: its path leads from the root through folders.
struct VolumeItem {
    enum class Kind { folder, file, link, hardLink };
    std::string path{}; ///< relative to the root, whose own is empty
    CatalogID id = 0;
    Kind kind = Kind::file;
    unsigned permissions = 0;
    std::int64_t modified = 0; ///< seconds since 1970
    Fork data{};               ///< of files and links
    /// Of a further hard link: the path that has the file.
    std::string original{};
};

struct CatalogContent {
    std::string volumeName{};
    bool hasCustomIcon = false;
    std::uint64_t contentSize = 0;   ///< of all files together, bytes
    std::vector<VolumeItem> items{}; ///< by path, so folders before what they hold; the root first
};

/// Reads a whole catalog. What the volume keeps for itself (its journal, the folders behind hard links) is
/// left out.
CatalogContent readCatalog(const Fork& catalog, const OverflowExtents& overflow, const VolumeBlocks& volume,
                           bool isJournaled, const UnfoldLimits& limits);

} // namespace halvo::hfsplus
