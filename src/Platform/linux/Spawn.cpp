#include "Spawn.h"

#include <cerrno>
#include <string_view>

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>

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
    // The child's end keeps waiting writes: the flag belongs to one end only.
    if (!pipe.reading.isOpen() || !pipe.writing.isOpen() ||
        ::fcntl(pipe.reading.get(), F_SETFL, O_NONBLOCK) != 0)
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

class SpawnAttributes {
public:
    explicit SpawnAttributes(bool ownGroup) {
        ::posix_spawnattr_init(&attributes);
        sigset_t all;
        sigset_t none;
        sigfillset(&all);
        sigemptyset(&none);
        ::posix_spawnattr_setsigdefault(&attributes, &all);
        ::posix_spawnattr_setsigmask(&attributes, &none);
        ::posix_spawnattr_setpgroup(&attributes, 0);
        ::posix_spawnattr_setflags(&attributes,
                                   static_cast<short>(POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK |
                                                      (ownGroup ? POSIX_SPAWN_SETPGROUP : 0)));
    }
    SpawnAttributes(const SpawnAttributes&) = delete;
    SpawnAttributes& operator=(const SpawnAttributes&) = delete;
    ~SpawnAttributes() { ::posix_spawnattr_destroy(&attributes); }
    const posix_spawnattr_t* get() const { return &attributes; }

private:
    posix_spawnattr_t attributes{};
};

class SpawnActions {
public:
    SpawnActions(int input, int output, int error) {
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, error, STDERR_FILENO);
        // Whatever a library opened without close-on-exec stays here.
        ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    }
    SpawnActions(const SpawnActions&) = delete;
    SpawnActions& operator=(const SpawnActions&) = delete;
    ~SpawnActions() { ::posix_spawn_file_actions_destroy(&actions); }
    const posix_spawn_file_actions_t* get() const { return &actions; }

private:
    posix_spawn_file_actions_t actions{};
};

} // namespace

SpawnedChild spawn(const std::filesystem::path& executable, const ProcessRequest& request,
                   const Environment& environment) {
    if (!executable.is_absolute())
        throw ProcessError(ProcessError::CannotStart{request.executable});
    std::vector<std::string> arguments = request.arguments;
    arguments.insert(arguments.begin(), executable.string());
    std::vector<std::string> variables = childEnvironment(environment, request.environment);

    const Descriptor input = openStandardInput(request.input);
    Pipe output = makePipe();
    Pipe error = makePipe();
    const SpawnActions actions(input.get(), output.writing.get(), error.writing.get());
    const SpawnAttributes attributes(request.ownGroup);
    SpawnedChild child{.standardOutput = std::move(output.reading),
                       .standardError = std::move(error.reading)};
    if (::posix_spawn(&child.pid, executable.c_str(), actions.get(), attributes.get(),
                      pointers(arguments).data(), pointers(variables).data()) != 0)
        throw ProcessError(ProcessError::CannotStart{request.executable});
    return child;
}

} // namespace halvo
