#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace halvo {

struct ToolResult {
    int status = 1; ///< 0 when the tool succeeded
    std::string output{};
};

/// Runs a tool found on PATH and collects both its streams.
ToolResult runTool(std::vector<std::string> arguments);

/// Every path below a folder with what it is: type, permissions, size or target; sorted.
std::vector<std::string> describeTree(const std::filesystem::path& folder);

} // namespace halvo
