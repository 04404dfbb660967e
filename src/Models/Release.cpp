#include <Models/Release.h>

#include <Base/Failure.h>
#include <Models/JSONFields.h>

#include <algorithm>
#include <limits>

namespace halvo {

std::string Release::versionDescription() const {
    return bundleVersionString + " (" + std::to_string(bundleVersion) + ")";
}

std::vector<Release> sortedByBundleVersion(std::vector<Release> releases) {
    std::ranges::stable_sort(releases, std::ranges::greater(), &Release::bundleVersion);
    return releases;
}

std::int64_t nextBundleVersion(const std::vector<Release>& releases) {
    if (releases.empty())
        return 1;
    const std::int64_t highest =
        std::ranges::max_element(releases, std::ranges::less(), &Release::bundleVersion)->bundleVersion;
    if (highest == std::numeric_limits<std::int64_t>::max())
        throw Failure("No build number comes after " + std::to_string(highest) + ".");
    return highest + 1;
}

void to_json(nlohmann::json& json, const Release& release) {
    FieldWriter(json)
        .field("id", release.id)
        .field("title", release.title)
        .field("bundleVersion", release.bundleVersion)
        .field("bundleVersionString", release.bundleVersionString)
        .field("releaseNotes", release.releaseNotes)
        .field("minimumSystemVersion", release.minimumSystemVersion)
        .field("fileSize", release.fileSize)
        .field("downloadURL", release.downloadURL)
        .field("channel", release.channel)
        .field("isPhasedRollout", release.isPhasedRollout)
        .field("isCritical", release.isCritical)
        .field("isPublished", release.isPublished)
        .field("createdAt", release.createdAt)
        .field("updatedAt", release.updatedAt);
}

void from_json(const nlohmann::json& json, Release& release) {
    const FieldReader fields(json);
    fields.required("id", release.id);
    fields.required("title", release.title);
    fields.required("bundleVersion", release.bundleVersion);
    fields.required("bundleVersionString", release.bundleVersionString);
    fields.required("releaseNotes", release.releaseNotes);
    fields.required("minimumSystemVersion", release.minimumSystemVersion);
    fields.required("fileSize", release.fileSize);
    fields.optional("downloadURL", release.downloadURL);
    fields.optional("channel", release.channel);
    fields.required("isPhasedRollout", release.isPhasedRollout);
    fields.required("isCritical", release.isCritical);
    fields.required("isPublished", release.isPublished);
    fields.optional("createdAt", release.createdAt);
    fields.optional("updatedAt", release.updatedAt);
}

} // namespace halvo
