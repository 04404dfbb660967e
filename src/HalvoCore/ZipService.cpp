#include <HalvoCore/ZipService.h>

#include "ImportedIcon.h"

#include <Base/Text.h>
#include <Platform/Bundle.h>
#include <Platform/Files.h>
#include <ZIP/ExtractZip.h>
#include <ZIP/ZipDirectory.h>

#include <algorithm>
#include <vector>

namespace halvo {
namespace {

/// Of the top-level apps of an archive: their folders, property lists and icons.
bool isMetadata(std::string_view path) {
    const std::vector<std::string> parts = split(path, '/');
    if (pathExtension(parts.front()) != "app")
        return false;
    if (parts.size() == 1 || (parts.size() == 2 && parts[1] == "Contents"))
        return true;
    if (parts.size() == 3 && parts[1] == "Contents" && parts[2] == "Info.plist")
        return true;
    return parts.size() >= 4 && parts[1] == "Contents" && parts[2] == "Resources" &&
           pathExtension(parts.back()) == "icns";
}

std::vector<std::filesystem::path> appsAtTop(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> apps;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (pathExtension(entry.path()) == "app")
            apps.push_back(entry.path());
    std::sort(apps.begin(), apps.end());
    return apps;
}

} // namespace

std::string ZipService::ZipError::describe(const Case& which) {
    struct Describer {
        std::string operator()(const ExtractionFailed& failed) const {
            return "Failed to extract ZIP: " + failed.text;
        }
        std::string operator()(const InvalidApplicationURL&) const { return "Invalid application URL"; }
        std::string operator()(const NoAppFound&) const { return "No .app bundle found in ZIP"; }
        std::string operator()(const InvalidBundle&) const { return "Invalid app bundle in ZIP"; }
    };
    return std::visit(Describer(), which);
}

URL ZipService::zip(const URL& applicationURL, const Progress& progress) const {
    const std::filesystem::path application = applicationURL.filePath();
    if (!isPackage(application))
        throw ZipError(ZipError::InvalidApplicationURL());
    TemporaryDirectory folder(temporaryDirectory, "");
    std::filesystem::path name = applicationURL.lastPathComponent();
    const std::filesystem::path destination = folder.path() / name.replace_extension("zip");
    zipDirectory(application, destination, {.progress = progress, .cancellation = cancellation});
    folder.release();
    return URL::file(destination);
}

BundleInfo ZipService::extractBundleInfo(const URL& zipURL) const {
    const TemporaryDirectory folder(temporaryDirectory, "");
    try {
        extractZip(zipURL.filePath(), folder.path(), {.wanted = isMetadata, .cancellation = cancellation});
    } catch (const Failure& failure) {
        throw ZipError(ZipError::ExtractionFailed{failure.description()});
    }
    const auto apps = appsAtTop(folder.path());
    if (apps.empty())
        throw ZipError(ZipError::NoAppFound());
    const auto bundle = Bundle::open(apps.front());
    if (!bundle)
        throw ZipError(ZipError::InvalidBundle());
    BundleInfo info = BundleInfo::from(*bundle);
    keepIcon(info, temporaryDirectory);
    return info;
}

} // namespace halvo
