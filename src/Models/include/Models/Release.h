#pragma once

#include <Base/Date.h>
#include <Base/URL.h>
#include <Base/UUID.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// One published, or drafted, version of an app.
struct Release {
    UUID id{};
    std::string title{};
    std::int64_t bundleVersion = 0; ///< the build number, which clients compare
    std::string bundleVersionString{};
    std::string releaseNotes{};
    std::string minimumSystemVersion{};
    std::int64_t fileSize = 0; ///< in bytes
    std::optional<URL> downloadURL{};
    std::optional<std::string> channel{}; ///< absent: the default channel
    bool isPhasedRollout = false;
    bool isCritical = false;
    bool isPublished = false;
    std::optional<Date> createdAt{};
    std::optional<Date> updatedAt{};

    bool isBeta() const { return channel == "beta"; }
    std::string versionDescription() const; ///< "2.1.0 (42)"

    static void fields(auto& release, auto&& field) {
        field("id", release.id);
        field("title", release.title);
        field("bundleVersion", release.bundleVersion);
        field("bundleVersionString", release.bundleVersionString);
        field("releaseNotes", release.releaseNotes);
        field("minimumSystemVersion", release.minimumSystemVersion);
        field("fileSize", release.fileSize);
        field("downloadURL", release.downloadURL);
        field("channel", release.channel);
        field("isPhasedRollout", release.isPhasedRollout);
        field("isCritical", release.isCritical);
        field("isPublished", release.isPublished);
        field("createdAt", release.createdAt);
        field("updatedAt", release.updatedAt);
    }

    bool operator==(const Release&) const = default;
};

/// Highest build number first; equal ones keep their order.
std::vector<Release> sortedByBundleVersion(std::vector<Release> releases);

/// One more than the highest build number, drafts and every channel counted; 1 when there is none. Throws
/// Failure when no integer is left.
std::int64_t nextBundleVersion(const std::vector<Release>& releases);

/// What an edit of a published release sets. What is absent stays as it is.
struct ReleaseChanges {
    std::optional<bool> isPublished{};
    std::optional<bool> isCritical{};
    std::optional<bool> isPhasedRollout{};
    std::optional<std::optional<std::string>> channel{}; ///< holding nothing: the default channel
    std::optional<std::string> releaseNotes{};           ///< Markdown
};

/// What the user chose for one release.
struct ReleaseConfiguration {
    std::string releaseNotes{};
    std::optional<std::string> channel{};
    bool isPhasedRollout = false;
    bool isCritical = false;
    bool isPublished = true;

    bool isBeta() const { return channel == "beta"; }

    bool operator==(const ReleaseConfiguration&) const = default;
};

} // namespace halvo
