#include <HalvoCore/HalvoReleaseUploader.h>

#include "UploadedIcon.h"

#include <HalvoCore/ReleasePublisher.h>

#include <algorithm>

namespace halvo {

void HalvoReleaseUploader::preflightCheck(const BundleInfo& bundleInfo) {
    const ServerApp held = apiClient.fetchApp(app.bundleIdentifier);
    if (std::ranges::find(held.releases, bundleInfo.version, &Release::bundleVersion) != held.releases.end())
        throw ReleaseError(ReleaseError::DuplicateVersion{bundleInfo.version});
}

UploadResult HalvoReleaseUploader::upload(const std::filesystem::path& file, const BundleInfo& bundleInfo,
                                          const std::string& signature,
                                          const ReleaseConfiguration& configuration) {
    const auto fileSize = static_cast<std::int64_t>(std::filesystem::file_size(file));
    const Release created = apiClient.createRelease({.title = bundleInfo.versionDescription(),
                                                     .bundleVersion = bundleInfo.version,
                                                     .bundleVersionString = bundleInfo.versionString,
                                                     .releaseNotes = configuration.releaseNotes,
                                                     .minimumSystemVersion = bundleInfo.minimumSystemVersion,
                                                     .fileSize = fileSize,
                                                     .signature = signature,
                                                     .isPublished = configuration.isPublished,
                                                     .channel = configuration.channel,
                                                     .isPhasedRollout = configuration.isPhasedRollout,
                                                     .isCritical = configuration.isCritical,
                                                     .appID = app.id});
    unfinished = created.id;
    Release release = apiClient.uploadBinary(file, created.id, progress);
    unfinished.reset();
    if (bundleInfo.appIcon)
        uploadIcon(*bundleInfo.appIcon);
    if (!release.downloadURL) // the service may have told it with the record only
        release.downloadURL = created.downloadURL;
    return {.downloadURL = release.downloadURL.value_or(app.downloadURL()),
            .fileSize = fileSize,
            .release = std::move(release),
            .app = {app}};
}

void HalvoReleaseUploader::uploadIcon(const URL& icon) {
    try {
        const UploadedIcon png(icon, iconConverter);
        apiClient.uploadAppIcon(png.file(), app.id);
    } catch (const std::exception&) {
        return; // the release stands without its picture
    }
}

} // namespace halvo
