#pragma once

#include <filesystem>
#include <map>
#include <string>

namespace halvo::test {

/// An app of macOS as a folder: a property list, an executable, a framework with its links, an icon.
struct AppBundle {
    std::string folder = "Demo.app";
    /// The Info.plist; every value is a string there.
    std::map<std::string, std::string> info{
        {"CFBundleName", "Demo"},           {"CFBundleIdentifier", "com.example.demo"},
        {"CFBundleVersion", "7"},           {"CFBundleShortVersionString", "1.2"},
        {"LSMinimumSystemVersion", "13.0"}, {"CFBundleExecutable", "Demo"},
        {"CFBundleIconFile", "AppIcon"}};

    /// A bundle like the first, of another version.
    static AppBundle ofVersion(const std::string& version, const std::string& build);
    /// Writes the bundle below `parent`, in place of an older one, and gives its path.
    std::filesystem::path writeTo(const std::filesystem::path& parent) const;
};

} // namespace halvo::test
