#include "Spawn.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <string_view>

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace halvo {
namespace {

[[noreturn]] void failSystem(std::string action, int code) {
    throw ProcessError(ProcessError::SystemFailure{std::move(action), code});
}

struct Pipe {
    Descriptor reading;
    Descriptor writing;
};

Pipe makePipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        failSystem("create a pipe", errno);
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

Pipe makeOutputPipe() {
    Pipe pipe = makePipe();
    // The child's end keeps waiting writes: the flag belongs to one end only.
    if (::fcntl(pipe.reading.get(), F_SETFL, O_NONBLOCK) != 0)
        failSystem("create a pipe", errno);
    constexpr int roomyPipe = 1 << 20;
    ::fcntl(pipe.reading.get(), F_SETPIPE_SZ, roomyPipe); // fewer switches; the default serves too
    return pipe;
}

/// The text as a file in memory: whole from the start, so nobody has to feed a pipe that the tool may never
/// read, and it never touches a disk.
Descriptor memoryFile(std::string_view text) {
    Descriptor file(::memfd_create("standard input", MFD_CLOEXEC));
    if (!file.isOpen())
        failSystem("prepare standard input", errno);
    while (!text.empty()) {
        const ssize_t written = ::write(file.get(), text.data(), text.size());
        if (written < 0 && errno != EINTR)
            failSystem("prepare standard input", errno);
        text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
    }
    if (::lseek(file.get(), 0, SEEK_SET) != 0)
        failSystem("prepare standard input", errno);
    return file;
}

Descriptor openNothing() {
    Descriptor nothing(::open("/dev/null", O_RDWR | O_CLOEXEC));
    if (!nothing.isOpen())
        failSystem("open /dev/null", errno);
    return nothing;
}

/// Texts as exec wants them.
class TextList {
public:
    explicit TextList(std::vector<std::string> all) : texts(std::move(all)) {
        for (std::string& text : texts) {
            if (text.find('\0') != std::string::npos) // the tool would see less than was asked
                failSystem("pass a text with a zero byte to a tool", EINVAL);
            pointers.push_back(text.data());
        }
        pointers.push_back(nullptr);
    }
    TextList(const TextList&) = delete;
    TextList& operator=(const TextList&) = delete;
    char* const* get() const { return pointers.data(); }

private:
    std::vector<std::string> texts;
    std::vector<char*> pointers;
};

std::vector<std::string> withExecutable(const std::filesystem::path& executable, Arguments arguments) {
    arguments.insert(arguments.begin(), executable.string());
    return arguments;
}

std::vector<std::string> childEnvironment(const Environment& inherited,
                                          const std::map<std::string, std::string>& overrides = {}) {
    std::map<std::string, std::string> variables = inherited.all();
    for (const auto& [name, value] : overrides)
        variables[name] = value;
    std::vector<std::string> lines;
    lines.reserve(variables.size());
    for (const auto& [name, value] : variables)
        lines.emplace_back(name).append("=").append(value);
    return lines;
}

/// What the child needs, made before it is there: between fork and exec only system calls are safe.
struct ChildPlan {
    const char* executable = nullptr;
    char* const* arguments = nullptr;
    char* const* variables = nullptr;
    std::array<int, 3> streams{};
    bool ownGroup = false;
    bool detached = false;
    pid_t parent = ::getpid();
    int failure = -1; ///< takes a byte when the program could not be executed, and closes when it could
};

[[noreturn]] void giveUp(const ChildPlan& plan) {
    [[maybe_unused]] const ssize_t told = ::write(plan.failure, "x", 1);
    ::_exit(127); // as shells count
}

void resetSignals() {
    struct sigaction byDefault {};
    byDefault.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number)
        ::sigaction(number, &byDefault, nullptr); // some refuse, and need none of it
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

/// Whatever a library opened without close-on-exec stays here.
void closeOthersOnExec() {
    if (::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC) == 0)
        return;
    constexpr int usualLimit = 1024; // kernels before 5.11
    for (int number = STDERR_FILENO + 1; number < usualLimit; ++number)
        ::fcntl(number, F_SETFD, FD_CLOEXEC);
}

[[noreturn]] void becomeProgram(const ChildPlan& plan) {
    if (plan.detached) {
        ::setsid();
        const pid_t grandchild = ::fork();
        if (grandchild < 0)
            giveUp(plan);
        if (grandchild > 0)
            ::_exit(0);
    } else {
        // A tool does not outlive a Halvo that was killed and could not end it. The system counts the thread
        // that started it, which waits for it.
        ::prctl(PR_SET_PDEATHSIG, SIGTERM);
        if (::getppid() != plan.parent)
            giveUp(plan);
    }
    if (plan.ownGroup)
        ::setpgid(0, 0);
    resetSignals();
    for (int stream = 0; stream < 3; ++stream)
        ::dup2(plan.streams[static_cast<std::size_t>(stream)], stream);
    closeOthersOnExec();
    ::execve(plan.executable, plan.arguments, plan.variables);
    giveUp(plan);
}

/// Forks with all signals blocked, so that none is handled in the child before it has reset them.
pid_t forkProgram(const ChildPlan& plan) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t child = ::fork();
    if (child == 0)
        becomeProgram(plan);
    const int code = errno;
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (child < 0)
        failSystem("start a tool", code);
    return child;
}

/// The child; absent when the program could not be executed. Waits until that is decided.
std::optional<pid_t> start(ChildPlan plan) {
    Pipe failure = makePipe();
    plan.failure = failure.writing.get();
    const pid_t child = forkProgram(plan);
    failure.writing.close();
    char told = 0;
    ssize_t count = 0;
    do
        count = ::read(failure.reading.get(), &told, sizeof told);
    while (count < 0 && errno == EINTR);
    if (count > 0 || plan.detached)
        ::waitpid(child, nullptr, 0);
    return count == 0 ? std::optional(child) : std::nullopt;
}

} // namespace

SpawnedChild spawn(const std::filesystem::path& executable, const ProcessRequest& request,
                   const Environment& environment) {
    if (!executable.is_absolute())
        throw ProcessError(ProcessError::CannotStart{request.executable});
    const TextList arguments(withExecutable(executable, request.arguments));
    const TextList variables(childEnvironment(environment, request.environment));
    const Descriptor input = request.input ? memoryFile(*request.input) : openNothing();
    Pipe output = makeOutputPipe();
    Pipe error = makeOutputPipe();
    const auto child = start({.executable = executable.c_str(),
                              .arguments = arguments.get(),
                              .variables = variables.get(),
                              .streams = {input.get(), output.writing.get(), error.writing.get()},
                              .ownGroup = request.ownGroup});
    if (!child)
        throw ProcessError(ProcessError::CannotStart{request.executable});
    return {*child, std::move(output.reading), std::move(error.reading)};
}

bool spawnDetached(const std::filesystem::path& executable, const Arguments& arguments,
                   const Environment& environment) {
    const TextList all(withExecutable(executable, arguments));
    const TextList variables(childEnvironment(environment));
    const Descriptor nothing = openNothing();
    return start({.executable = executable.c_str(),
                  .arguments = all.get(),
                  .variables = variables.get(),
                  .streams = {nothing.get(), nothing.get(), nothing.get()},
                  .detached = true})
        .has_value();
}

} // namespace halvo
