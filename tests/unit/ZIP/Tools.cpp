#include "Tools.h"

#include <algorithm>
#include <array>
#include <stdexcept>

#include <fmt/format.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace halvo {

namespace fs = std::filesystem;

ToolResult runTool(const std::vector<std::string>& arguments) {
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        throw std::runtime_error("no pipe");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    posix_spawn_file_actions_addclose(&actions, ends[0]);
    std::vector<char*> argv;
    for (const std::string& argument : arguments)
        argv.push_back(const_cast<char*>(argument.c_str()));
    argv.push_back(nullptr);
    pid_t child = 0;
    const int failed = ::posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[1]);
    ToolResult result;
    std::array<char, 4096> piece{};
    for (ssize_t count = 0; (count = ::read(ends[0], piece.data(), piece.size())) > 0;)
        result.output.append(piece.data(), static_cast<std::size_t>(count));
    ::close(ends[0]);
    if (failed != 0)
        throw std::runtime_error("cannot run " + arguments[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
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
