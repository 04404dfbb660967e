#include <HalvoCore/DMGService.h>

#include "ImportedIcon.h"
#include "SevenZip.h"

#include <Base/PropertyList.h>
#include <Base/Text.h>
#include <Base/Unicode.h>
#include <Platform/Bundle.h>
#include <Platform/Files.h>

#include <algorithm>
#include <vector>

namespace halvo {
namespace {

constexpr const char* component = "DMGService";

/// `hdiutil attach` prints the licence of an image in front of its answer, and may print notices behind it.
PropertyList propertyListIn(std::string_view output) {
    constexpr std::string_view end = "</plist>";
    if (const std::size_t start = output.find("<?xml"); start != std::string_view::npos)
        output.remove_prefix(start);
    if (const std::size_t last = output.rfind(end); last != std::string_view::npos)
        output = output.substr(0, last + end.size());
    return PropertyList::parse(viewBytes(output));
}

std::string readableText(const std::string& bytes) {
    return isValidUTF8(bytes) ? std::string(trimmed(bytes)) : "";
}

/// Where the first mounted volume of an image is; absent when none is.
std::optional<URL> mountPointIn(const PropertyListArray& entities) {
    for (const PropertyList& entity : entities)
        if (const auto* path = entity.find<std::string>("mount-point"))
            return URL::file(*path);
    return std::nullopt;
}

} // namespace

BundleInfo DMGService::extractBundleInfo(const URL& dmgURL) const {
    struct Mount {
        const DMGService& service;
        URL point;
        ~Mount() { service.unmountAndLog(point); }
    };
    if (!mountsImages) {
        const TemporaryDirectory folder(temporaryDirectory, "");
        return readApp(extractAppMetadata(dmgURL.filePath(), folder.path(), processes, cancellation));
    }
    const Mount mounted{*this, mount(dmgURL)};
    if (cancellation.stop_requested())
        throw CancelledError();
    return readApp(findApp(mounted.point).filePath());
}

BundleInfo DMGService::readApp(const std::filesystem::path& app) const {
    const auto bundle = Bundle::open(app);
    if (!bundle)
        throw DMGError(DMGError::InvalidBundle());
    BundleInfo info = BundleInfo::from(*bundle);
    keepIcon(info, temporaryDirectory);
    return info;
}

URL DMGService::mount(const URL& dmgURL) const {
    if (const auto existing = findExistingMount(dmgURL)) {
        log.write(LogLevel::info, component,
                  "Reusing existing mount at " + existing->path() + " for " + dmgURL.lastPathComponent());
        return *existing;
    }
    if (cancellation.stop_requested())
        throw CancelledError();
    // Not cancelled half-way: a volume would stay mounted that nobody knows of.
    const ProcessResult result =
        hdiutil({"attach", dmgURL.filePath().string(), "-plist", "-nobrowse", "-readonly"}, {});
    if (!result.succeeded())
        throw DMGError(DMGError::MountFailed{"hdiutil exited with status " +
                                             std::to_string(result.termination.value) + ": " +
                                             readableText(result.standardError)});
    try {
        const PropertyList answer = propertyListIn(result.standardOutput);
        const auto* entities = answer.find<PropertyListArray>("system-entities");
        if (entities == nullptr)
            throw DMGError(DMGError::MountFailed{"Failed to parse hdiutil output"});
        if (const auto point = mountPointIn(*entities))
            return *point;
        throw DMGError(DMGError::MountFailed{"No mount point found in hdiutil output"});
    } catch (const Failure&) { // the image may be attached all the same
        if (const auto point = findMount(dmgURL, {}))
            unmountAndLog(*point);
        throw;
    }
}

std::optional<URL> DMGService::findExistingMount(const URL& dmgURL) const {
    return findMount(dmgURL, cancellation);
}

std::optional<URL> DMGService::findMount(const URL& dmgURL, const std::stop_token& runCancellation) const {
    try {
        const ProcessResult result = hdiutil({"info", "-plist"}, runCancellation);
        if (!result.succeeded())
            return std::nullopt;
        const PropertyList answer = propertyListIn(result.standardOutput);
        const auto* images = answer.find<PropertyListArray>("images");
        if (images == nullptr)
            return std::nullopt;
        const std::string wanted = dmgURL.filePath().string();
        for (const PropertyList& image : *images) {
            const auto* path = image.find<std::string>("image-path");
            const auto* entities = image.find<PropertyListArray>("system-entities");
            if (path != nullptr && *path == wanted && entities != nullptr)
                return mountPointIn(*entities);
        }
    } catch (const ProcessError&) { // attaching it tells what is wrong
    } catch (const PropertyListError&) {
    }
    return std::nullopt;
}

void DMGService::unmount(const URL& mountPoint) const {
    const ProcessResult result = hdiutil({"detach", mountPoint.filePath().string(), "-force"}, {});
    if (!result.succeeded())
        throw DMGError(DMGError::UnmountFailed{result.errorText()});
}

void DMGService::unmountAndLog(const URL& mountPoint) const {
    try {
        unmount(mountPoint);
    } catch (const std::exception& error) {
        log.write(LogLevel::error, component,
                  "Failed to unmount DMG at " + mountPoint.path() + ": " + halvo::describe(error));
    }
}

URL DMGService::findApp(const URL& mountPoint) {
    const std::filesystem::path volume = mountPoint.filePath();
    std::vector<std::filesystem::path> apps;
    std::error_code error;
    for (std::filesystem::directory_iterator entry(volume, error);
         !error && entry != std::filesystem::directory_iterator(); entry.increment(error))
        if (pathExtension(entry->path()) == "app" && isPackage(entry->path()))
            apps.push_back(entry->path());
    if (error)
        throw FileError("read", volume, error.value());
    if (apps.empty())
        throw DMGError(DMGError::NoAppFound());
    return URL::file(*std::ranges::min_element(apps));
}

ProcessResult DMGService::hdiutil(Arguments arguments, const std::stop_token& runCancellation) const {
    constexpr std::size_t longestAnswer = std::size_t{8} << 20; // a list of all images of the machine
    return processes.run({.executable = "/usr/bin/hdiutil",
                          .arguments = std::move(arguments),
                          .ownGroup = true,
                          .outputLimit = longestAnswer,
                          .cancellation = runCancellation});
}

} // namespace halvo
