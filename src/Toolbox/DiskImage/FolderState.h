#pragma once

#include <HFSPlus/CatalogIDs.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>

namespace halvo {

/// What an attached folder holds, as far as it tells whether something changed. Links are not followed.
struct FolderState {
    std::map<std::string, std::uint64_t>
        inodes{};              ///< by path relative to the folder, which is the empty path
    std::string fingerprint{}; ///< of paths, inode numbers, kinds, permissions, sizes and dates
};

/// Throws FileError.
FolderState readFolderState(const std::filesystem::path& folder);

/// From paths to inode numbers and back: items without a number or without an inode are left out.
std::map<std::uint64_t, std::uint32_t> idsByInode(const FolderState& state, const hfsplus::CatalogIDs& ids);
hfsplus::CatalogIDs idsByPath(const FolderState& state, const std::map<std::uint64_t, std::uint32_t>& ids);

} // namespace halvo
