#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace halvo::hfsplus {

/// The number by which an HFS Plus volume knows a file, folder or link; what macOS gives as its file ID.
using CatalogID = std::uint32_t;

constexpr CatalogID rootFolderID = 2;
constexpr CatalogID firstUserID = 16; ///< what is below belongs to the volume itself

/// From the path of each item, relative to the volume's root and without a slash at either end, to its ID.
/// The path is spelled as in the folder that stands for the volume; the root is the empty path.
using CatalogIDs = std::map<std::string, CatalogID, std::less<>>;

} // namespace halvo::hfsplus
