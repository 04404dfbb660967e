#include <Platform/Bundle.h>

#include <Base/Text.h>

#include <algorithm>
#include <vector>

namespace halvo {
namespace {

namespace fs = std::filesystem;

// What cannot be looked at is not there: a bundle is asked for what it has.
bool isDirectory(const fs::path& path) {
    std::error_code unreadable;
    return fs::is_directory(path, unreadable);
}

bool isFile(const fs::path& path) {
    std::error_code unreadable;
    return fs::is_regular_file(path, unreadable);
}

/// Whether a name from a property list names one file, and so cannot lead out of the folder.
bool isPlainName(std::string_view name) {
    return !name.empty() && name != "." && name != ".." &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

/// The `.lproj` folders, in the order of their names.
std::vector<fs::path> localizedFolders(const fs::path& resources) {
    std::vector<fs::path> folders;
    std::error_code unreadable;
    fs::directory_iterator entry(resources, unreadable);
    for (; !unreadable && entry != fs::directory_iterator(); entry.increment(unreadable))
        if (entry->path().extension() == ".lproj" && isDirectory(entry->path()))
            folders.push_back(entry->path());
    std::ranges::sort(folders);
    return folders;
}

} // namespace

std::optional<Bundle> Bundle::open(const fs::path& path) {
    if (!isDirectory(path))
        return std::nullopt;
    if (!isDirectory(path / "Contents") && !isDirectory(path / "Resources") && !isFile(path / "Info.plist"))
        return std::nullopt;
    return Bundle(path);
}

std::optional<URL> Bundle::resource(const std::string& name, const std::string& extension) const {
    const std::string fileName = name + "." + extension;
    if (name.empty() || !isPlainName(fileName))
        return std::nullopt;
    fs::path resources = root; // a flat bundle has them at its top
    if (isDirectory(root / "Contents"))
        resources = root / "Contents" / "Resources";
    else if (isDirectory(root / "Resources"))
        resources = root / "Resources";
    if (isFile(resources / fileName))
        return URL::file(resources / fileName);
    for (const fs::path& folder : localizedFolders(resources))
        if (isFile(folder / fileName))
            return URL::file(folder / fileName);
    return std::nullopt;
}

bool isPackage(const fs::path& path) {
    // What macOS and Xcode declare as packages. A framework is none: the Finder opens it like a folder.
    static constexpr std::string_view extensions[] = {
        "app",    "appex",      "bundle",      "component", "dSYM",
        "kext",   "mdimporter", "mpkg",        "pkg",       "playground",
        "plugin", "prefPane",   "qlgenerator", "saver",     "systemextension",
        "wdgt",   "workflow",   "xcarchive",   "xcodeproj", "xcworkspace",
        "xpc"};
    const std::string extension = lowercased(pathExtension(path));
    return isDirectory(path) && std::ranges::any_of(extensions, [&](std::string_view known) {
               return lowercased(known) == extension;
           });
}

} // namespace halvo
