#include <Platform/Workspace.h>

#include <Base/Text.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <vector>

#include <fcntl.h>
#include <sys/wait.h>
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

std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> result;
    result.reserve(texts.size() + 1);
    for (std::string& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

/// The grandchild: becomes the program, or writes a byte to `failure`. Only async-signal-safe calls.
[[noreturn]] void becomeProgram(char* const* arguments, char* const* variables, int failure) {
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
    const int null = ::open("/dev/null", O_RDWR);
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        ::dup2(null, stream);
    if (null > STDERR_FILENO)
        ::close(null);
    ::execve(arguments[0], arguments, variables);
    [[maybe_unused]] const ssize_t told = ::write(failure, "x", 1);
    ::_exit(127);
}

/// Starts a program that init adopts and reaps: the child in between ends at once and is waited for here.
bool startDetached(char* const* arguments, char* const* variables) {
    std::array<int, 2> pipe{};
    if (::pipe2(pipe.data(), O_CLOEXEC) != 0)
        return false;
    const pid_t child = ::fork();
    if (child == 0) {
        ::setsid();
        const pid_t grandchild = ::fork();
        if (grandchild == 0)
            becomeProgram(arguments, variables, pipe[1]);
        ::_exit(grandchild < 0 ? 1 : 0);
    }
    ::close(pipe[1]);
    int status = 1;
    while (child > 0 && ::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    char failed = 0; // the pipe closes without a byte when the program runs
    ssize_t count = 0;
    while ((count = ::read(pipe[0], &failed, 1)) < 0 && errno == EINTR) {
    }
    ::close(pipe[0]);
    return child > 0 && status == 0 && count == 0;
}

} // namespace

bool SystemWorkspace::open(const std::string& url) {
    const std::string program = findProgram(environment, "xdg-open");
    if (program.empty() || url.empty() || url.front() == '-') // a "-" would begin an option
        return false;
    std::vector<std::string> arguments{program, url};
    std::vector<std::string> variables;
    variables.reserve(environment.all().size());
    for (const auto& [name, value] : environment.all())
        variables.push_back(std::string(name).append("=").append(value));
    return startDetached(pointers(arguments).data(), pointers(variables).data());
}

} // namespace halvo
