#pragma once

#include <Base/Failure.h>
#include <Base/URL.h>
#include <HalvoNotarization/ArchiveExporter.h>
#include <Models/CodesignIdentity.h>
#include <Models/Notarization.h>
#include <Models/PackageFormat.h>

#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// A step that this version of the program cannot do.
class StepNotAvailableError : public Failure {
public:
    explicit StepNotAvailableError(const std::string& step)
        : Failure(step +
                  " is not available in this version of Halvo yet. Pass --no-dmg to release a ZIP archive.") {
    }
};

/// What preparation asks of the signing and packaging tools. Each operation throws its tool's own failure.
class DistributionTools {
public:
    virtual ~DistributionTools() = default;
    virtual bool isSignedForDistribution(const URL& appURL) = 0;
    virtual void sign(const URL& appURL, const CodesignIdentity& identity) = 0;
    virtual std::vector<CodesignIdentity> availableIdentities() = 0;
    /// Fails when the app carries a provisioning profile that lets only its developers launch it.
    virtual void assertDistributable(const URL& appURL) = 0;
    /// The exported app, in a folder that is the caller's.
    virtual URL exportArchive(const URL& archiveURL, const std::string& teamID,
                              const std::optional<ArchiveExporter::Signing>& signing) = 0;
    /// A disk image with a laid-out window, in the temporary directory.
    virtual URL createDMG(const URL& appURL, const std::string& appName,
                          const PackageFormat::DMG& format) = 0;
    virtual void notarize(const URL& fileURL, const NotarizationCredentials& credentials) = 0;
    virtual bool isNotarized(const URL& fileURL) = 0;
};

} // namespace halvo
