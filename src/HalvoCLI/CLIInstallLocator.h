#pragma once

#include <Base/URL.h>
#include <Platform/Environment.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace halvo {

/// A `halvo` that a shell would find.
struct FoundCLI {
    URL path{};
    URL resolvedPath{}; ///< `path` with all symbolic links followed
    bool operator==(const FoundCLI&) const = default;
};

/// Finds where this program is installed on the machine.
namespace CLIInstallLocator {

/// Where `halvo install` puts a link to the executable.
inline constexpr const char* appManagedPath = "/usr/local/bin/halvo";

/// What decides where to look.
struct Environment {
    std::vector<std::string> path{}; ///< the folders of `PATH`
    std::string home{};
    std::optional<std::string>
        miseDataDir{}; ///< `MISE_DATA_DIR`: where the tool manager mise keeps its shims

    static Environment live(const halvo::Environment& process, const std::filesystem::path& home);
};

/// What is asked of the file system.
class FileProbe {
public:
    virtual ~FileProbe() = default;
    /// A regular file, perhaps behind links, that this user may run.
    virtual bool isExecutableFile(const std::filesystem::path& path) const = 0;
    /// The path with all links followed; the path itself where that fails.
    virtual std::filesystem::path resolveSymlink(const std::filesystem::path& path) const = 0;

    static const FileProbe& live();
};

/// Each executable once, where it is found first: in the folders of PATH in their order, then in
/// `HOME/.local/bin`, then among mise's shims (`MISE_DATA_DIR/shims`, by default
/// `HOME/.local/share/mise/shims`). Relative folders are passed over.
std::vector<FoundCLI> findAll(const Environment& environment, const FileProbe& probe);

} // namespace CLIInstallLocator
} // namespace halvo
