#include <HalvoCore/SystemDistributionTools.h>

#include <HalvoDMG/DMGCreator.h>
#include <Platform/Files.h>

namespace halvo {

SystemDistributionTools::SystemDistributionTools(Platform& platform)
    : codesigner(platform.processes, platform.log, platform.cancellation),
      profiles(platform.processes, platform.cancellation),
      exporter(platform.processes, platform.temporaryDirectory, platform.cancellation),
      notarizer({platform.processes, platform.clock}, platform.temporaryDirectory, platform.cancellation),
      imageBuilder(makeImageBuilder(platform)), images(platform.images),
      temporaryDirectory(platform.temporaryDirectory) {}

bool SystemDistributionTools::isSignedForDistribution(const URL& appURL) {
    return codesigner.isSignedForDistribution(appURL.filePath());
}

void SystemDistributionTools::sign(const URL& appURL, const CodesignIdentity& identity) {
    codesigner.sign(appURL.filePath(), identity.name);
}

std::vector<CodesignIdentity> SystemDistributionTools::availableIdentities() {
    return codesigner.availableIdentities();
}

void SystemDistributionTools::assertDistributable(const URL& appURL) {
    profiles.assertDistributable(appURL.filePath());
}

URL SystemDistributionTools::exportArchive(const URL& archiveURL, const std::string& teamID,
                                           const std::optional<ArchiveExporter::Signing>& signing) {
    return URL::file(
        exporter.exportArchive(archiveURL.filePath(), teamID, signing.value_or(ArchiveExporter::Signing())));
}

URL SystemDistributionTools::createDMG(const URL& appURL, const std::string& appName,
                                       const PackageFormat::DMG& format, const ByteProgress& progress) {
    const DMGConfiguration configuration;
    const PointSize window = configuration.windowSize();
    const Background background = format.backgroundImage
                                      ? fittedBackground(*format.backgroundImage, window, images)
                                      : generatedBackground(window, appName, format.watermark, images);
    TemporaryDirectory folder(temporaryDirectory, "");
    const URL image = URL::file(folder.path() / DMGCreator::defaultOutputURL(appURL).lastPathComponent());
    DMGCreator(*imageBuilder).create(appURL, image, configuration, background, progress);
    folder.release();
    return image;
}

void SystemDistributionTools::notarize(const URL& fileURL, const NotarizationCredentials& credentials,
                                       const NotarizationObserver& observer) {
    notarizer.notarize(fileURL.filePath(), credentials, observer);
}

bool SystemDistributionTools::isNotarized(const URL& fileURL) {
    return notarizer.isNotarized(fileURL.filePath());
}

} // namespace halvo
