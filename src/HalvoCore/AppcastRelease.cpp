#include "AppcastRelease.h"

namespace halvo {

Release makeRelease(const AppcastItem& item, const UUID& id) {
    return {.id = id,
            .title = item.title,
            .bundleVersion = item.version,
            .bundleVersionString = item.shortVersionString,
            .releaseNotes = item.releaseNotes,
            .minimumSystemVersion = item.minimumSystemVersion,
            .fileSize = item.enclosureLength,
            .downloadURL = item.enclosureURL,
            .channel = item.channel,
            .isPhasedRollout = item.isPhasedRollout,
            .isCritical = item.isCritical,
            .isPublished = item.isPublished,
            .createdAt = item.pubDate};
}

} // namespace halvo
