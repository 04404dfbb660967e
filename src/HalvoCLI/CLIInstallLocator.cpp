#include "CLIInstallLocator.h"

#include <Base/Text.h>

#include <algorithm>

#include <unistd.h>

namespace halvo::CLIInstallLocator {
namespace {

namespace fs = std::filesystem;

class SystemFileProbe final : public FileProbe {
public:
    bool isExecutableFile(const fs::path& path) const override {
        std::error_code failed;
        return fs::is_regular_file(path, failed) && ::access(path.c_str(), X_OK) == 0;
    }
    fs::path resolveSymlink(const fs::path& path) const override {
        std::error_code failed;
        const fs::path resolved = fs::canonical(path, failed);
        return failed ? path : resolved;
    }
};

std::vector<fs::path> folders(const Environment& environment) {
    std::vector<fs::path> result(environment.path.begin(), environment.path.end());
    const fs::path home = environment.home;
    result.push_back(home / ".local/bin");
    result.push_back(fs::path(environment.miseDataDir.value_or(home / ".local/share/mise")) / "shims");
    return result;
}

} // namespace

Environment Environment::live(const halvo::Environment& process, const fs::path& home) {
    return {.path = split(process.nonEmpty("PATH").value_or(""), ':'),
            .home = home,
            .miseDataDir = process.nonEmpty("MISE_DATA_DIR")};
}

const FileProbe& FileProbe::live() {
    static const SystemFileProbe probe;
    return probe;
}

std::vector<FoundCLI> findAll(const Environment& environment, const FileProbe& probe) {
    std::vector<FoundCLI> found;
    for (const fs::path& folder : folders(environment)) {
        const fs::path candidate = (folder / "halvo").lexically_normal();
        if (!candidate.is_absolute() || !probe.isExecutableFile(candidate))
            continue;
        FoundCLI entry{URL::file(candidate), URL::file(probe.resolveSymlink(candidate))};
        if (std::ranges::find(found, entry.resolvedPath, &FoundCLI::resolvedPath) == found.end())
            found.push_back(std::move(entry));
    }
    return found;
}

} // namespace halvo::CLIInstallLocator
