#pragma once

#include <HalvoDMG/AliasBuilder.h>
#include <HalvoDMG/DMGConfiguration.h>

#include <DSStore/DSStore.h>

namespace halvo {

/// What the Finder is told about the window of an image: its place, the icons in it, the background, and
/// hidden files parked below the visible part. `appName` is the app's file name with its extension;
/// `backgroundAlias` the alias of the background picture, absent for a plain white window. Throws
/// DSStore::Error for a position that is negative or beyond 32 bits.
DSStore finderLayout(const DMGConfiguration& configuration, const std::string& appName,
                     const std::optional<Bytes>& backgroundAlias);

/// The file ".DS_Store" of that. Throws DMGCreationError (`DSStoreWriteFailed`).
Bytes finderLayoutFile(const DMGConfiguration& configuration, const std::string& appName,
                       const std::optional<Bytes>& backgroundAlias);

/// Writes the layout to a mounted image.
class DSStoreWriter {
public:
    DSStoreWriter(const VolumeFacts& volumes, const Clock& clock) : aliases(volumes, clock) {}

    /// Writes `mountPoint`/.DS_Store. `backgroundFilename` names a file in the volume's ".background" folder.
    /// Throws DMGCreationError (`DSStoreWriteFailed`, `AliasBuildFailed`).
    void write(const std::filesystem::path& mountPoint, const std::string& appName,
               const std::optional<std::string>& backgroundFilename,
               const DMGConfiguration& configuration) const;

private:
    AliasBuilder aliases;
};

} // namespace halvo
