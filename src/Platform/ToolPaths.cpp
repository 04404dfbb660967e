#include <Platform/ToolPaths.h>

#include <Base/Text.h>
#include <Platform/LoadedModule.h>

#include <unistd.h>

namespace halvo {

ToolPaths::ToolPaths(const Environment& environment, std::filesystem::path toolbox)
    : root(environment.nonEmpty("HALVO_TOOL_ROOT").value_or("")), toolbox(std::move(toolbox)),
      searchPath(environment.nonEmpty("PATH").value_or("/usr/bin:/bin")) {}

std::filesystem::path ToolPaths::resolve(const std::filesystem::path& executable) const {
    if (!executable.has_parent_path()) {
        for (const std::string& folder : split(searchPath, ':'))
            if (const auto found = std::filesystem::path(folder) / executable;
                found.is_absolute() && ::access(found.c_str(), X_OK) == 0)
                return found;
        return executable;
    }
    if (!root.empty())
        return root / executable.relative_path();
    std::error_code ignored;
    if (toolbox.empty() || std::filesystem::exists(executable, ignored))
        return executable;
    return toolbox / executable.relative_path();
}

bool ToolPaths::has(const std::filesystem::path& executable) const {
    const std::filesystem::path file = root.empty() ? executable : root / executable.relative_path();
    return ::access(file.c_str(), X_OK) == 0;
}

std::filesystem::path installedToolbox() {
    const std::filesystem::path executable = executablePath();
    if (executable.empty())
        return {}; // not a folder of the working directory
    const std::filesystem::path folder = executable.parent_path();
    const std::filesystem::path relative = std::filesystem::path("libexec") / "halvo";
    std::error_code ignored;
    if (std::filesystem::exists(folder / relative, ignored))
        return folder / relative;
    return folder.parent_path() / relative;
}

} // namespace halvo
