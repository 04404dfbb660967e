#pragma once

#include <HalvoDMG/DMGCreationError.h>

#include <Base/Bytes.h>
#include <Base/Date.h>
#include <Platform/Clock.h>
#include <Platform/VolumeFacts.h>

namespace halvo {

/// A file on a volume, as an alias record of the Carbon Alias Manager describes it. All texts are UTF-8.
struct CarbonAlias {
    std::string volumeName{};
    Date volumeCreationDate{};
    std::string fileName{};
    Date fileCreationDate{};
    std::uint32_t parentID = 0; ///< file id of the folder that has the file
    std::uint32_t fileID = 0;
    std::string pathInVolume{}; ///< begins with "/"
    std::string mountPoint{};

    /// The record of version 2, as docs/formats/carbon-alias.md describes it. Names that are too long for
    /// their fields are cut between characters.
    Bytes encode() const;
};

/// Seconds since 1904-01-01 UTC; moments that 32 bits cannot hold become the nearest one.
std::uint32_t hfsSeconds(Date date);

/// Makes alias records of files on mounted volumes.
class AliasBuilder {
public:
    AliasBuilder(const VolumeFacts& volumes, const Clock& clock) : volumes(volumes), clock(clock) {}

    /// The alias of the file `targetPath`, which must lie below the mount point. Throws DMGCreationError
    /// (`AliasBuildFailed`).
    Bytes makeFileAlias(const std::filesystem::path& volumeMountPoint,
                        const std::filesystem::path& targetPath) const;

private:
    std::uint32_t cnid(const std::filesystem::path& path) const;
    Date creationDate(const std::filesystem::path& path) const;

    const VolumeFacts& volumes;
    const Clock& clock;
};

} // namespace halvo
