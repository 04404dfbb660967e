#pragma once

#include <Base/URL.h>

#include <filesystem>
#include <optional>
#include <string>

namespace halvo {

/// An opened bundle: a folder laid out as macOS lays out its packages.
class Bundle {
public:
    /// Absent when the path is not a folder, or holds none of what makes a bundle (a `Contents` folder, or an
    /// `Info.plist` or `Resources` at its top).
    static std::optional<Bundle> open(const std::filesystem::path& path);

    URL url() const { return URL::file(root); }
    const std::filesystem::path& path() const { return root; }
    /// A file of the resources folder by name and extension; localised folders are looked through after it.
    std::optional<URL> resource(const std::string& name, const std::string& extension) const;

private:
    explicit Bundle(std::filesystem::path folder) : root(std::move(folder)) {}
    std::filesystem::path root;
};

/// Whether the Finder shows this folder as one thing: a folder whose extension is that of a package.
bool isPackage(const std::filesystem::path& path);

} // namespace halvo
