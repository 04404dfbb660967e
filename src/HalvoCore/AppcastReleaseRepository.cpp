#include <HalvoCore/AppcastReleaseRepository.h>

#include "AppcastRelease.h"

#include <HalvoCore/DeterministicUUID.h>

#include <Appcast/AppcastEditor.h>

#include <algorithm>

namespace halvo {
namespace {

const UUID nameSpace = *UUID::parse("6D1A9F1C-3B7E-5A2D-9C4F-8E0A1B2C3D4E");

std::optional<AppcastItem> findItem(const std::vector<AppcastItem>& items, const Release& release) {
    const auto found = std::find_if(items.begin(), items.end(), [&](const AppcastItem& item) {
        return item.version == release.bundleVersion &&
               item.shortVersionString == release.bundleVersionString;
    });
    if (found == items.end())
        return std::nullopt;
    return *found;
}

/// The stored item with what can be edited taken from the release.
AppcastItem edited(AppcastItem item, const Release& release) {
    item.title = release.title;
    item.releaseNotes = release.releaseNotes;
    item.minimumSystemVersion = release.minimumSystemVersion;
    item.channel = release.channel;
    item.isPhasedRollout = release.isPhasedRollout;
    item.isCritical = release.isCritical;
    item.isPublished = release.isPublished;
    return item;
}

ReleaseRepositoryError notFound(const Release& release) {
    return ReleaseRepositoryError(
        ReleaseRepositoryError::ReleaseNotFound{release.bundleVersion, release.bundleVersionString});
}

} // namespace

UUID appcastReleaseID(std::int64_t version, const std::string& shortVersionString) {
    return DeterministicUUID::v5(nameSpace, std::to_string(version) + "|" + shortVersionString);
}

std::vector<Release> AppcastReleaseRepository::list() {
    const auto feed = storage.downloadAppcast();
    if (!feed)
        return {};
    std::vector<Release> releases;
    for (const AppcastItem& item : AppcastEditor(appName, publicBaseURL, false, clock).parseItems(*feed))
        releases.push_back(makeRelease(item, appcastReleaseID(item.version, item.shortVersionString)));
    return releases;
}

Release AppcastReleaseRepository::update(const Release& release) {
    const auto feed = storage.downloadAppcast();
    if (!feed)
        throw notFound(release);
    const AppcastEditor editor(appName, publicBaseURL, false, clock);
    const auto stored = findItem(editor.parseItems(*feed), release);
    if (!stored)
        throw notFound(release);
    const auto description = release.releaseNotes == stored->releaseNotes
                                 ? AppcastEditor::Description::asStored
                                 : AppcastEditor::Description::fromReleaseNotes;
    storage.uploadAppcast(viewBytes(editor.upsertItem(edited(*stored, release), *feed, description)));
    return release;
}

void AppcastReleaseRepository::remove(const Release& release) {
    const auto feed = storage.downloadAppcast();
    if (!feed)
        throw notFound(release);
    const AppcastEditor editor(appName, publicBaseURL, false, clock);
    const auto stored = findItem(editor.parseItems(*feed), release);
    const std::string document = editor.deleteItem(release.bundleVersion, release.bundleVersionString, *feed);
    storage.uploadAppcast(viewBytes(document));
    // The feed no longer names the file; only now may it go.
    const auto key = stored ? extractBinaryKey(stored->enclosureURL) : std::nullopt;
    if (key)
        storage.deleteBinary(*key);
}

std::optional<std::string> AppcastReleaseRepository::extractBinaryKey(const URL& url) const {
    if (url.isFile())
        return url.lastPathComponent();
    const std::string& base = publicBaseURL.absoluteString();
    std::string_view text = url.absoluteString();
    if (!text.starts_with(base))
        return std::nullopt;
    text.remove_prefix(base.size());
    if (text.starts_with('/'))
        text.remove_prefix(1);
    else if (!base.ends_with('/')) // "https://x/ab" does not lie below "https://x/a"
        return std::nullopt;
    text = text.substr(0, text.find('?'));
    if (text.empty())
        return std::nullopt;
    return percentDecoded(text);
}

} // namespace halvo
