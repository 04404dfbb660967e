#pragma once

#include <Base/URL.h>
#include <Models/BundleInfo.h>

#include <filesystem>

namespace halvo {

/// Puts a prepared file into a folder, which is made when missing, as "<name>-<version>.<extension>"; a file
/// of that name is replaced in one step. A file of this run's own making is moved, the user's is copied.
/// Gives the absolute path. Throws FileError.
std::filesystem::path deliverLocally(const URL& preparedFile, bool ownFile, const BundleInfo& bundleInfo,
                                     const std::filesystem::path& directory);

} // namespace halvo
