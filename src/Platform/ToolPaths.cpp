#include <Platform/ToolPaths.h>

#include <Platform/LoadedModule.h>

namespace halvo {

ToolPaths::ToolPaths(const Environment& environment, std::filesystem::path toolbox)
    : root(environment.nonEmpty("HALVO_TOOL_ROOT").value_or("")), toolbox(std::move(toolbox)) {}

std::filesystem::path ToolPaths::resolve(const std::filesystem::path& executable) const {
    if (!root.empty())
        return root / executable.relative_path();
    std::error_code ignored;
    if (toolbox.empty() || std::filesystem::exists(executable, ignored))
        return executable;
    return toolbox / executable.relative_path();
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
