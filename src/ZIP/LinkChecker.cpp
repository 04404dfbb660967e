#include "LinkChecker.h"

#include <Base/Text.h>

#include <algorithm>

namespace halvo::zip {
namespace {

/// Far beyond real bundles; a kernel follows 32 to 40 links.
constexpr int mostLinksFollowed = 32;
constexpr int mostSteps = 1000;

/// The components of a target, the first one last.
std::vector<std::string> reversedComponents(const std::string& target) {
    std::vector<std::string> components = split(target, '/');
    std::ranges::reverse(components);
    return components;
}

bool staysInside(const LinkTargets& targets, const std::string& link) {
    std::string place; // physical: no links in it
    std::vector<std::string> ahead = reversedComponents(link);
    int linksFollowed = 0;
    for (int steps = 0; !ahead.empty(); ++steps) {
        if (steps == mostSteps)
            return false;
        const std::string component = std::move(ahead.back());
        ahead.pop_back();
        if (component.empty() || component == ".")
            continue;
        if (component == "..") {
            if (place.empty())
                return false;
            const std::size_t slash = place.rfind('/');
            place.resize(slash == std::string::npos ? 0 : slash);
            continue;
        }
        const std::string next = place.empty() ? component : place + "/" + component;
        const auto found = targets.find(next);
        if (found == targets.end()) {
            place = next;
            continue;
        }
        const std::string& target = found->second;
        if (++linksFollowed > mostLinksFollowed || target.empty() || target.starts_with('/') ||
            target.find('\0') != std::string::npos)
            return false;
        std::ranges::move(reversedComponents(target), std::back_inserter(ahead));
    }
    return true;
}

} // namespace

void requireLinkInside(const LinkTargets& targets, const std::string& path) {
    if (!staysInside(targets, path))
        throw ZIPError(ZIPError::UnsafeLink{path, targets.at(path)});
}

} // namespace halvo::zip
