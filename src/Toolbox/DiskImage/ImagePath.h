#pragma once

#include <filesystem>

namespace halvo {

/// Where a new image goes: the path with the extension "dmg" when it has another, absolute. Throws
/// DiskImageError (EEXIST) when something is there.
std::filesystem::path newImagePath(const std::filesystem::path& given);

} // namespace halvo
