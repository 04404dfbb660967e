#pragma once

#include <HalvoCore/DistributionTools.h>

#include <HalvoDMG/ImageBuilder.h>
#include <HalvoNotarization/Codesigner.h>
#include <HalvoNotarization/Notarizer.h>
#include <HalvoNotarization/ProvisioningProfileReader.h>
#include <Platform/Platform.h>

namespace halvo {

/// The tools of this machine.
class SystemDistributionTools final : public DistributionTools {
public:
    explicit SystemDistributionTools(Platform& platform);

    bool isSignedForDistribution(const URL& appURL) override;
    void sign(const URL& appURL, const CodesignIdentity& identity) override;
    std::vector<CodesignIdentity> availableIdentities() override;
    void assertDistributable(const URL& appURL) override;
    URL exportArchive(const URL& archiveURL, const std::string& teamID,
                      const std::optional<ArchiveExporter::Signing>& signing) override;
    URL createDMG(const URL& appURL, const std::string& appName, const PackageFormat::DMG& format,
                  const ByteProgress& progress) override;
    void notarize(const URL& fileURL, const NotarizationCredentials& credentials,
                  const NotarizationObserver& observer) override;
    bool isNotarized(const URL& fileURL) override;

private:
    Codesigner codesigner;
    ProvisioningProfileReader profiles;
    ArchiveExporter exporter;
    Notarizer notarizer;
    std::unique_ptr<ImageBuilder> imageBuilder;
    ImageServices& images;
    std::filesystem::path temporaryDirectory;
};

} // namespace halvo
