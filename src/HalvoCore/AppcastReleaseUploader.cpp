#include <HalvoCore/AppcastReleaseUploader.h>

#include "AppcastRelease.h"

#include <Appcast/AppcastEditor.h>
#include <HalvoCore/AppcastReleaseRepository.h>
#include <Models/Artifact.h>

namespace halvo {
namespace {

AppcastItem makeItem(const BundleInfo& info, const ReleaseConfiguration& configuration,
                     const URL& downloadURL, std::int64_t fileSize, const std::string& signature, Date now) {
    return {.title = info.versionDescription(),
            .pubDate = now,
            .releaseNotes = configuration.releaseNotes,
            .enclosureURL = downloadURL,
            .enclosureLength = fileSize,
            .version = info.version,
            .shortVersionString = info.versionString,
            .minimumSystemVersion = info.minimumSystemVersion,
            .edSignature = signature,
            .channel = configuration.channel,
            .isPhasedRollout = configuration.isPhasedRollout,
            .isCritical = configuration.isCritical,
            .isPublished = configuration.isPublished};
}

/// The releases whose newest one the latest copy is of.
std::vector<Release> releasesOfDefaultChannel(const AppcastEditor& editor, const std::string& document) {
    std::vector<Release> releases;
    for (const AppcastItem& item : editor.parseItems(viewBytes(document)))
        if (item.isPublished && !item.channel)
            releases.push_back(makeRelease(item, appcastReleaseID(item.version, item.shortVersionString)));
    return releases;
}

} // namespace

UploadResult AppcastReleaseUploader::upload(const std::filesystem::path& file, const BundleInfo& bundleInfo,
                                            const std::string& signature,
                                            const ReleaseConfiguration& configuration) {
    const auto fileSize = static_cast<std::int64_t>(std::filesystem::file_size(file));
    const std::string extension = pathExtension(file);
    const std::string name = artifactName(bundleInfo.name);
    const std::string filename = artifactName(bundleInfo.name + "-" + bundleInfo.versionString + "-" +
                                              std::to_string(bundleInfo.version)) +
                                 "." + extension;

    const URL downloadURL = storage.uploadBinary(file, filename, contentType(extension));
    if (!configuration.channel && configuration.isPublished)
        storage.copyToLatest(filename, name + "." + extension);

    const std::optional<Bytes> feed = storage.downloadAppcast();
    const AppcastItem item =
        makeItem(bundleInfo, configuration, downloadURL, fileSize, signature, clock.now());
    const AppcastEditor editor(app.name(), publicBaseURL, shouldUseCacheBuster, clock);
    const std::string document = editor.upsertItem(item, feed);
    storage.uploadAppcast(viewBytes(document));
    App published = app;
    if (auto* local = std::get_if<LocalApp>(&published.value)) {
        local->name = bundleInfo.name; // which the latest copy is named by
        local->releases = releasesOfDefaultChannel(editor, document);
    }
    return {.downloadURL = downloadURL,
            .fileSize = fileSize,
            .release = makeRelease(item, UUID::random()),
            .app = std::move(published)};
}

} // namespace halvo
