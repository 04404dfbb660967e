#include "Tools.h"

#include <Platform/SystemProcessRunner.h>

#include <algorithm>

#include <fmt/format.h>

namespace halvo {

namespace fs = std::filesystem;

ToolResult runTool(std::vector<std::string> arguments) {
    const Environment environment = Environment::ofProcess();
    SystemProcessRunner runner(environment, ToolPaths(Environment(), ""));
    const ProcessResult result = runner.run({.executable = "/usr/bin/env",
                                             .arguments = std::move(arguments),
                                             .outputLimit = std::size_t{16} << 20});
    return {result.succeeded() ? 0 : 1, result.standardOutput + result.standardError};
}

std::vector<std::string> describeTree(const fs::path& folder) {
    std::vector<std::string> lines;
    for (const auto& item : fs::recursive_directory_iterator(folder)) {
        const std::string name = item.path().lexically_relative(folder).string();
        const auto permissions = static_cast<unsigned>(item.symlink_status().permissions());
        if (item.is_symlink())
            lines.push_back(name + " -> " + fs::read_symlink(item.path()).string());
        else if (item.is_directory())
            lines.push_back(fmt::format("{}/ {:o}", name, permissions));
        else
            lines.push_back(fmt::format("{} {:o} {}", name, permissions, item.file_size()));
    }
    std::ranges::sort(lines);
    return lines;
}

} // namespace halvo
