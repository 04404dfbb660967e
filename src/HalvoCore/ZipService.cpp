#include <HalvoCore/ZipService.h>

#include "ImportedIcon.h"

#include <Base/Text.h>
#include <Platform/Bundle.h>
#include <Platform/Files.h>
#include <ZIP/ZipArchive.h>
#include <ZIP/ZipDirectory.h>

#include <optional>
#include <vector>

namespace halvo {
namespace {

namespace fs = std::filesystem;

/// What the property list and the icons of one app do not reach together.
constexpr std::uint64_t largestMetadata = std::uint64_t{256} << 20;

/// The components of an entry's name, without the "./" and the doubled slashes of some writers.
std::vector<std::string> componentsOf(const std::string& name) {
    std::vector<std::string> components = split(name, '/');
    std::erase_if(components, [](const std::string& one) { return one.empty() || one == "."; });
    return components;
}

/// The app at the top of the archive whose name comes first.
std::optional<std::string> firstApp(const ZipArchive& archive) {
    std::optional<std::string> first;
    for (const ZipEntry& entry : archive.entries()) {
        const auto components = componentsOf(entry.name);
        if (!components.empty() && pathExtension(components.front()) == "app" &&
            entry.name.find('\0') == std::string::npos && (!first || components.front() < *first))
            first = components.front();
    }
    return first;
}

/// Whether these components below an app name its property list or an icon. No such name leads out of a
/// folder.
bool isMetadata(const std::vector<std::string>& path) {
    if (path == std::vector<std::string>{"Contents", "Info.plist"})
        return true;
    const bool isLocalized = path.size() == 4 && pathExtension(path[2]) == "lproj";
    return (path.size() == 3 || isLocalized) && path[0] == "Contents" && path[1] == "Resources" &&
           pathExtension(path.back()) == "icns" && path.back().find('\0') == std::string::npos;
}

/// Writes the property list and the icons of an app of the archive to the folder `app`.
void unpackMetadata(const ZipArchive& archive, const fs::path& app, const std::stop_token& cancellation) {
    std::uint64_t left = largestMetadata;
    for (const ZipEntry& entry : archive.entries()) {
        if (cancellation.stop_requested())
            throw CancelledError();
        auto path = componentsOf(entry.name);
        if (path.size() < 2 || path[0] != app.filename() || path[1] != "Contents")
            continue;
        fs::create_directories(app / "Contents"); // all that a bundle needs to be one
        path.erase(path.begin());
        if (!isMetadata(path) || entry.isLink || entry.name.ends_with('/'))
            continue;
        const fs::path file = app / joined(path, "/");
        if (fs::exists(file)) // readers that believe another one would see another app
            throw ZIPError(ZIPError::Damaged{entry.name, "it is there twice"});
        const Bytes content = archive.read(entry, left);
        left -= content.size();
        fs::create_directories(file.parent_path());
        writeNewFile(file, content);
    }
}

} // namespace

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
    std::optional<std::string> app;
    try {
        const ZipArchive archive(zipURL.filePath());
        app = firstApp(archive);
        if (app)
            unpackMetadata(archive, folder.path() / *app, cancellation);
    } catch (const std::exception& failure) {
        throw ZipError(ZipError::ExtractionFailed{describe(failure)});
    }
    if (!app)
        throw ZipError(ZipError::NoAppFound());
    const auto bundle = Bundle::open(folder.path() / *app);
    if (!bundle)
        throw ZipError(ZipError::InvalidBundle());
    BundleInfo info = BundleInfo::from(*bundle);
    keepIcon(info, temporaryDirectory);
    return info;
}

} // namespace halvo
