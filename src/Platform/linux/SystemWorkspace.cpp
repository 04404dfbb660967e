#include <Platform/Workspace.h>

#include "Spawn.h"

#include <Base/Text.h>

#include <unistd.h>

namespace halvo {
namespace {

/// Empty when no folder of PATH has such a program.
std::string findProgram(const Environment& environment, const std::string& name) {
    for (const std::string& folder : split(environment.nonEmpty("PATH").value_or(""), ':')) {
        const std::filesystem::path candidate = std::filesystem::path(folder) / name;
        std::error_code ignored;
        if (candidate.is_absolute() && std::filesystem::is_regular_file(candidate, ignored) &&
            ::access(candidate.c_str(), X_OK) == 0)
            return candidate.string();
    }
    return "";
}

} // namespace

bool SystemWorkspace::open(const std::string& url) {
    const std::string program = findProgram(environment, "xdg-open");
    if (program.empty() || url.empty() || url.front() == '-') // a "-" would begin an option
        return false;
    try {
        return spawnDetached(program, {url}, environment);
    } catch (const ProcessError&) {
        return false;
    }
}

} // namespace halvo
