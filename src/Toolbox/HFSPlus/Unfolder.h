#pragma once

#include "CatalogReader.h"

#include <filesystem>

namespace halvo::hfsplus {

/// Makes the items below an empty folder, which is empty again when that fails.
void unfoldItems(const std::vector<VolumeItem>& items, const VolumeBlocks& volume,
                 const std::filesystem::path& folder, const Progress& progress,
                 const std::stop_token& cancellation);

} // namespace halvo::hfsplus
