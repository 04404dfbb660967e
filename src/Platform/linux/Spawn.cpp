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

/// Keeps our descriptors clear of 0 to 2, which may be free when this process was started without them: the
/// child's streams are put there one after the other, and must not overwrite one that is still needed.
Descriptor aboveStandardStreams(Descriptor descriptor) {
    if (!descriptor.isOpen() || descriptor.get() > STDERR_FILENO)
        return descriptor;
    return Descriptor(::fcntl(descriptor.get(), F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
}

struct Pipe {
    Descriptor reading;
    Descriptor writing;
};

Pipe makePipe() {
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        failSystem("create a pipe", errno);
    Pipe pipe{aboveStandardStreams(Descriptor(ends[0])), aboveStandardStreams(Descriptor(ends[1]))};
    if (!pipe.reading.isOpen() || !pipe.writing.isOpen())
        failSystem("create a pipe", errno);
    return pipe;
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
    Descriptor file = aboveStandardStreams(Descriptor(::memfd_create("standard input", MFD_CLOEXEC)));
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

Descriptor openStandardInput(const std::optional<std::string>& input) {
    if (input)
        return memoryFile(*input);
    Descriptor nothing = aboveStandardStreams(Descriptor(::open("/dev/null", O_RDONLY | O_CLOEXEC)));
    if (!nothing.isOpen())
        failSystem("open /dev/null", errno);
    return nothing;
}

/// Texts as exec wants them. They must outlive the pointers.
std::vector<char*> pointers(std::vector<std::string>& texts) {
    std::vector<char*> list;
    for (std::string& text : texts) {
        if (text.find('\0') != std::string::npos) // the tool would see less than was asked
            failSystem("pass a text with a zero byte to a tool", EINVAL);
        list.push_back(text.data());
    }
    list.push_back(nullptr);
    return list;
}

std::vector<std::string> childEnvironment(const Environment& inherited,
                                          const std::map<std::string, std::string>& overrides) {
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
    int failure = -1; ///< takes the error number of an exec that failed, and closes when it worked
    bool ownGroup = false;
    pid_t parent = 0;
};

void resetSignals() {
    struct sigaction byDefault {};
    byDefault.sa_handler = SIG_DFL;
    for (int number = 1; number < NSIG; ++number)
        ::sigaction(number, &byDefault, nullptr); // some refuse, and need none of it
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void becomeTool(const ChildPlan& plan) {
    constexpr int notStarted = 127; // as shells count
    // A tool does not outlive a Halvo that was killed and could not end it. The system counts the thread that
    // started it, which waits for it.
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (::getppid() != plan.parent)
        ::_exit(notStarted);
    if (plan.ownGroup)
        ::setpgid(0, 0);
    resetSignals();
    for (int stream = 0; stream < 3; ++stream)
        ::dup2(plan.streams[static_cast<std::size_t>(stream)], stream);
    // Whatever a library opened without close-on-exec stays here.
    ::close_range(STDERR_FILENO + 1, ~0U, CLOSE_RANGE_CLOEXEC);
    ::execve(plan.executable, plan.arguments, plan.variables);
    const int code = errno;
    [[maybe_unused]] const ssize_t told = ::write(plan.failure, &code, sizeof code);
    ::_exit(notStarted);
}

/// Forks with all signals blocked, so that none is handled in the child before it has reset them.
pid_t forkTool(const ChildPlan& plan) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const pid_t child = ::fork();
    if (child == 0)
        becomeTool(plan);
    const int code = errno;
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    if (child < 0)
        failSystem("start a tool", code);
    return child;
}

/// Whether the child became the tool. Waits until that is decided.
bool hasStarted(const Descriptor& failure) {
    int code = 0;
    ssize_t count = 0;
    do
        count = ::read(failure.get(), &code, sizeof code);
    while (count < 0 && errno == EINTR);
    return count == 0;
}

} // namespace

SpawnedChild spawn(const std::filesystem::path& executable, const ProcessRequest& request,
                   const Environment& environment) {
    if (!executable.is_absolute())
        throw ProcessError(ProcessError::CannotStart{request.executable});
    std::vector<std::string> arguments = request.arguments;
    arguments.insert(arguments.begin(), executable.string());
    std::vector<std::string> variables = childEnvironment(environment, request.environment);

    const Descriptor input = openStandardInput(request.input);
    Pipe output = makeOutputPipe();
    Pipe error = makeOutputPipe();
    Pipe failure = makePipe();
    const std::vector<char*> argumentPointers = pointers(arguments);
    const std::vector<char*> variablePointers = pointers(variables);
    SpawnedChild child{.standardOutput = std::move(output.reading),
                       .standardError = std::move(error.reading)};
    child.pid = forkTool({.executable = executable.c_str(),
                          .arguments = argumentPointers.data(),
                          .variables = variablePointers.data(),
                          .streams = {input.get(), output.writing.get(), error.writing.get()},
                          .failure = failure.writing.get(),
                          .ownGroup = request.ownGroup,
                          .parent = ::getpid()});
    failure.writing.close();
    if (!hasStarted(failure.reading)) {
        ::waitpid(child.pid, nullptr, 0);
        throw ProcessError(ProcessError::CannotStart{request.executable});
    }
    return child;
}

} // namespace halvo
