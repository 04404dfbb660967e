#pragma once

#include <Models/BundleInfo.h>

#include <filesystem>

namespace halvo {

/// Copies the icon of a bundle that is about to go away to "<UUID>.icns" in `folder` and points `info` there.
/// An icon that cannot be copied is left out: no release fails for want of a picture.
void keepIcon(BundleInfo& info, const std::filesystem::path& folder);

} // namespace halvo
