#pragma once

#include <Base/URL.h>
#include <HalvoNotarization/ArchiveExporter.h>
#include <Models/CodesignIdentity.h>
#include <Models/Notarization.h>
#include <Models/PackageFormat.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// What preparation asks of the signing and packaging tools. Each operation throws its tool's own failure.
class DistributionTools {
public:
    /// Bytes of the work under way, of how many; zero for a total that is not known. From any thread.
    using ByteProgress = std::function<void(std::uint64_t done, std::uint64_t total)>;

    virtual ~DistributionTools() = default;
    virtual bool isSignedForDistribution(const URL& appURL) = 0;
    virtual void sign(const URL& appURL, const CodesignIdentity& identity) = 0;
    virtual std::vector<CodesignIdentity> availableIdentities() = 0;
    /// Fails when the app carries a provisioning profile that lets only its developers launch it.
    virtual void assertDistributable(const URL& appURL) = 0;
    /// The exported app, in a folder that is the caller's.
    virtual URL exportArchive(const URL& archiveURL, const std::string& teamID,
                              const std::optional<ArchiveExporter::Signing>& signing) = 0;
    /// A disk image with a laid-out window, in a temporary folder of its own; removeTemporaryArtifact()
    /// removes both.
    virtual URL createDMG(const URL& appURL, const std::string& appName, const PackageFormat::DMG& format,
                          const ByteProgress& progress) = 0;
    virtual void notarize(const URL& fileURL, const NotarizationCredentials& credentials) = 0;
    virtual bool isNotarized(const URL& fileURL) = 0;
};

} // namespace halvo
