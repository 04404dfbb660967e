#include <Support/ServerProcess.h>

#include <Base/Text.h>

#include <optional>
#include <stdexcept>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace halvo::test {
namespace {

using SteadyClock = std::chrono::steady_clock;

pid_t start(const std::vector<std::string>& arguments, int output) {
    std::vector<char*> pointers;
    for (const std::string& argument : arguments)
        pointers.push_back(const_cast<char*>(argument.c_str()));
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    pid_t child = -1;
    const int failed = ::posix_spawnp(&child, pointers[0], &actions, nullptr, pointers.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    if (failed != 0)
        throw std::runtime_error("cannot start " + arguments[0]);
    return child;
}

/// The rest of the first line with that prefix; absent when the output ends or the deadline passes.
std::optional<std::string> awaitLine(int output, std::string_view prefix, SteadyClock::time_point deadline) {
    std::string line;
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - SteadyClock::now());
        pollfd watched{output, POLLIN, 0};
        char letter = 0;
        if (left.count() <= 0 || ::poll(&watched, 1, static_cast<int>(left.count())) <= 0 ||
            ::read(output, &letter, 1) != 1)
            return std::nullopt;
        if (letter != '\n')
            line += letter;
        else if (line.starts_with(prefix))
            return line.substr(prefix.size());
        else
            line.clear();
    }
}

} // namespace

ServerProcess::ServerProcess(const std::vector<std::string>& arguments, std::string_view readyPrefix,
                             std::chrono::seconds patience) {
    int ends[2] = {};
    if (::pipe2(ends, O_CLOEXEC) != 0)
        throw std::runtime_error("cannot make a pipe");
    output = ends[0];
    try {
        child = start(arguments, ends[1]);
    } catch (...) {
        ::close(ends[0]);
        ::close(ends[1]);
        throw;
    }
    ::close(ends[1]);
    const auto line = awaitLine(output, readyPrefix, SteadyClock::now() + patience);
    if (!line) {
        end();
        throw std::runtime_error(arguments[0] + " did not get ready");
    }
    announced = trimmed(*line);
}

ServerProcess::~ServerProcess() { end(); }

void ServerProcess::end() noexcept {
    ::kill(child, SIGTERM);
    const auto deadline = SteadyClock::now() + std::chrono::seconds(5);
    while (::waitpid(child, nullptr, WNOHANG) == 0) {
        if (SteadyClock::now() > deadline)
            ::kill(child, SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    ::close(output);
}

} // namespace halvo::test
