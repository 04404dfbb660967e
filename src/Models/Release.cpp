#include <Models/Release.h>

#include <Base/Failure.h>

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

} // namespace halvo
