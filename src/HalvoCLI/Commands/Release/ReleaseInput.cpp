#include "Commands/Release/ReleaseInput.h"

#include "Output/CLIError.h"

#include <algorithm>
#include <vector>

namespace halvo {
namespace {

ReleaseInput::Kind classify(const URL& url) {
    const std::string extension = url.pathExtension();
    if (extension == "xcarchive")
        return ReleaseInput::Kind::archive;
    if (extension == "xcodeproj" || extension == "xcworkspace")
        return ReleaseInput::Kind::project;
    return ReleaseInput::Kind::bundle;
}

/// Directory listings come in no order; the first by name keeps runs alike.
std::optional<std::filesystem::path> discoverProject(const std::filesystem::path& directory) {
    std::error_code failed;
    std::vector<std::filesystem::path> projects;
    for (const auto& entry : std::filesystem::directory_iterator(directory, failed))
        if (pathExtension(entry.path()) == "xcodeproj")
            projects.push_back(entry.path());
    if (failed || projects.empty())
        return std::nullopt;
    return *std::min_element(projects.begin(), projects.end());
}

} // namespace

ReleaseInput resolveReleaseInput(const std::optional<std::string>& path,
                                 const std::filesystem::path& directory) {
    std::optional<std::filesystem::path> chosen;
    if (path)
        chosen = directory / *path;
    else
        chosen = discoverProject(directory);
    if (!chosen)
        throw CLIError("missing_argument", "No path provided and no .xcodeproj found in current directory");
    const URL url = URL::file(*chosen);
    return {url, classify(url)};
}

void checkOptionsAgainstInput(const ReleaseOptions& options, ReleaseInput::Kind kind) {
    if (kind != ReleaseInput::Kind::project &&
        (options.buildNumber || options.marketingVersion || options.bundleId))
        throw CLIError("invalid_argument",
                       "--build-number/--marketing-version/--bundle-id require building from an "
                       "Xcode project or workspace");
    if (kind == ReleaseInput::Kind::bundle && options.provisioningProfile)
        throw CLIError("invalid_argument",
                       "--provisioning-profile requires an Xcode project, workspace, or archive");
}

} // namespace halvo
