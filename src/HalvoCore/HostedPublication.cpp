#include <HalvoCore/HostedPublication.h>

#include <HalvoCore/ServerAppRepository.h>

#include <algorithm>

namespace halvo {

CodedFailure notAuthenticated() {
    return {"not_authenticated", "Not logged in. Run `halvo login`, or `halvo setup` to register a new app."};
}

Publication::Listing HostedPublication::list() {
    return requireLogin([&]() -> Listing {
        const std::vector<ServerApp> apps = apiClient.fetchUsersApps();
        const auto found = std::ranges::find(apps, app.id, &ServerApp::id);
        return {.releases = found == apps.end() ? std::vector<Release>() : found->releases};
    });
}

std::int64_t HostedPublication::nextBuildNumber() { return nextBundleVersion(list().releases); }

Warnings HostedPublication::preflightCheck(const BundleInfo& bundleInfo, const ReleaseConfiguration&,
                                           std::optional<std::uint64_t>) {
    const ServerApp held = requireLogin([&] { return apiClient.fetchApp(app.bundleIdentifier); });
    if (std::ranges::find(held.releases, bundleInfo.version, &Release::bundleVersion) !=
        held.releases.end())
        throw ReleaseError(ReleaseError::DuplicateVersion{bundleInfo.version});
    return {};
}

Publication::Uploaded HostedPublication::upload(const PreparedBinary& prepared, const BundleInfo& bundleInfo,
                                                const ReleaseConfiguration& configuration,
                                                const TransferProgress& progress) {
    const auto fileSize = static_cast<std::int64_t>(std::filesystem::file_size(prepared.file()));
    const CreateReleaseRequest request{.title = bundleInfo.versionDescription(),
                                       .bundleVersion = bundleInfo.version,
                                       .bundleVersionString = bundleInfo.versionString,
                                       .releaseNotes = configuration.releaseNotes,
                                       .minimumSystemVersion = bundleInfo.minimumSystemVersion,
                                       .fileSize = fileSize,
                                       .signature = prepared.signature,
                                       .isPublished = configuration.isPublished,
                                       .channel = configuration.channel,
                                       .isPhasedRollout = configuration.isPhasedRollout,
                                       .isCritical = configuration.isCritical,
                                       .appID = app.id};
    const Release created = requireLogin([&] { return apiClient.createRelease(request); });
    unfinished = created.id;
    Release release =
        requireLogin([&] { return apiClient.uploadBinary(prepared.file(), created.id, progress); });
    unfinished.reset();
    if (bundleInfo.appIcon)
        uploadIcon(*bundleInfo.appIcon);
    if (!release.downloadURL) // the service may have told it with the record only
        release.downloadURL = created.downloadURL;
    return {.release = std::move(release), .latestDownloadURL = app.downloadURL()};
}

void HostedPublication::uploadIcon(const URL& icon) {
    try {
        ServerAppRepository(apiClient).uploadIcon(app.id, icon, iconConverter);
    } catch (const std::exception&) {
        return; // the release stands without its picture
    }
}

std::string HostedPublication::leftovers() const {
    if (!unfinished)
        return "";
    return "The service holds a record of this release, perhaps without its file, and refuses its version "
           "again "
           "until `halvo releases delete " +
           unfinished->string() + " -b " + app.bundleIdentifier + "` has removed it.";
}

Warnings HostedPublication::update(const Release& release, const ReleaseChanges& changes) {
    UpdateReleaseRequest request{.id = release.id,
                                 .releaseNotes = changes.releaseNotes,
                                 .isPhasedRollout = changes.isPhasedRollout,
                                 .isCritical = changes.isCritical,
                                 .isPublished = changes.isPublished};
    if (changes.channel)
        request.channel = changes.channel->value_or(""); // the service clears it for an empty text
    requireLogin([&] { apiClient.updateRelease(request); });
    return {};
}

Warnings HostedPublication::remove(const Release& release) {
    requireLogin([&] { apiClient.deleteRelease(release.id); });
    return {};
}

} // namespace halvo
