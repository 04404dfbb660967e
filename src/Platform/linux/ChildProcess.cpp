#include "ChildProcess.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>

namespace halvo {
namespace {

using Steady = std::chrono::steady_clock;

constexpr std::size_t chunkSize = 256 << 10;

struct Ready {
    bool first = false;
    bool second = false;
    bool ended = false;
    bool cancelled = false;
};

bool isReady(const pollfd& entry) { return entry.revents != 0; }

/// Waits for up to four descriptors; -1 stands for none. Nothing is ready when the time is over.
Ready waitForAny(int first, int second, int end, int cancelled,
                 std::optional<Steady::time_point> deadline = std::nullopt) {
    std::array<pollfd, 4> entries{
        {{first, POLLIN, 0}, {second, POLLIN, 0}, {end, POLLIN, 0}, {cancelled, POLLIN, 0}}};
    for (;;) {
        int timeout = -1;
        if (deadline) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Steady::now()).count();
            timeout = static_cast<int>(std::clamp<long long>(left, 0, std::numeric_limits<int>::max()));
        }
        if (::poll(entries.data(), entries.size(), timeout) >= 0)
            return {isReady(entries[0]), isReady(entries[1]), isReady(entries[2]), isReady(entries[3])};
        if (errno != EINTR)
            throw ProcessError(ProcessError::SystemFailure{"wait for a tool", errno});
    }
}

Descriptor makeEvent() {
    Descriptor event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!event.isOpen())
        throw ProcessError(ProcessError::SystemFailure{"start a tool", errno});
    return event;
}

Termination terminationOf(const siginfo_t& info) {
    const auto kind = info.si_code == CLD_EXITED ? Termination::Kind::exited : Termination::Kind::signalled;
    return {kind, info.si_status};
}

} // namespace

ChildProcess::ChildProcess(const std::filesystem::path& executable, const ProcessRequest& request,
                           const Environment& environment)
    : ownGroup(request.ownGroup), steps(request.teardown), cancelled(makeEvent()),
      cancellation(request.cancellation, [this] { wakeReaders(); }) {
    if (request.cancellation.stop_requested())
        throw CancelledError();
    SpawnedChild child = spawn(executable, request, environment);
    pid = child.pid;
    sources[0].pipe = std::move(child.standardOutput);
    sources[1].pipe = std::move(child.standardError);
    end = Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
    if (!end.isOpen()) {
        const int code = errno;
        signal(SIGKILL);
        reap();
        throw ProcessError(ProcessError::SystemFailure{"watch a tool", code});
    }
}

ChildProcess::~ChildProcess() {
    if (termination)
        return;
    try {
        tearDown();
    } catch (const ProcessError&) {
        // The child has been told to go; there is nobody left to tell, and nothing left to try.
    }
}

void ChildProcess::wakeReaders() const { ::eventfd_write(cancelled.get(), 1); }

int ChildProcess::Source::descriptor() {
    const std::lock_guard lock(mutex);
    return atEnd ? -1 : pipe.get();
}

void ChildProcess::Source::noteChildEnded() {
    const std::lock_guard lock(mutex);
    int available = 0;
    if (!rest && ::ioctl(pipe.get(), FIONREAD, &available) == 0)
        rest = static_cast<std::size_t>(available);
}

std::size_t ChildProcess::Source::readAvailable(std::span<char> buffer) {
    const std::lock_guard lock(mutex);
    if (rest)
        buffer = buffer.first(std::min(buffer.size(), *rest));
    ssize_t count = 0;
    if (!atEnd && !buffer.empty()) {
        do
            count = ::read(pipe.get(), buffer.data(), buffer.size());
        while (count < 0 && errno == EINTR);
    }
    if (count < 0 && errno != EAGAIN)
        throw ProcessError(ProcessError::SystemFailure{"read a tool's output", errno});
    atEnd = count <= 0;
    if (atEnd)
        return 0;
    if (rest)
        *rest -= static_cast<std::size_t>(count);
    return static_cast<std::size_t>(count);
}

std::size_t ChildProcess::read(OutputStream stream, std::span<char> buffer) {
    Source& reading = source(stream);
    const Ready ready = waitForAny(reading.descriptor(), -1, end.get(), cancelled.get());
    if (ready.cancelled)
        throw CancelledError();
    if (ready.ended)
        reading.noteChildEnded();
    return reading.readAvailable(buffer);
}

void ChildProcess::readBoth(const Receiver& receive) {
    std::vector<char> buffer(chunkSize);
    const auto pass = [&](OutputStream stream) {
        const std::size_t count = source(stream).readAvailable(buffer);
        receive(stream, std::span(buffer).first(count));
        return count > 0;
    };
    for (;;) {
        const Ready ready =
            waitForAny(sources[0].descriptor(), sources[1].descriptor(), end.get(), cancelled.get());
        if (ready.cancelled)
            throw CancelledError();
        if (ready.ended)
            break;
        if (ready.first)
            pass(OutputStream::standardOutput);
        if (ready.second)
            pass(OutputStream::standardError);
    }
    for (const OutputStream stream : {OutputStream::standardOutput, OutputStream::standardError}) {
        source(stream).noteChildEnded();
        while (pass(stream))
            ;
    }
}

bool ChildProcess::signal(int number) {
    const std::lock_guard lock(mutex);
    return !termination && ::kill(ownGroup ? -pid : pid, number) == 0;
}

Termination ChildProcess::wait() {
    if (waitForAny(-1, -1, end.get(), cancelled.get()).cancelled)
        throw CancelledError();
    return reap();
}

Termination ChildProcess::reap() {
    const std::lock_guard lock(mutex);
    if (termination)
        return *termination;
    siginfo_t info{};
    int result = 0;
    do
        result = ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED);
    while (result != 0 && errno == EINTR);
    if (result != 0)
        throw ProcessError(ProcessError::SystemFailure{"learn how a tool ended", errno});
    termination = terminationOf(info);
    return *termination;
}

bool ChildProcess::drainUntilEnd(Steady::time_point deadline) {
    std::vector<char> dropped(chunkSize);
    do {
        const Ready ready =
            waitForAny(sources[0].descriptor(), sources[1].descriptor(), end.get(), -1, deadline);
        if (ready.ended)
            return true;
        if (ready.first)
            sources[0].readAvailable(dropped);
        if (ready.second)
            sources[1].readAvailable(dropped);
    } while (Steady::now() < deadline);
    return false;
}

void ChildProcess::tearDown() {
    bool ended = false;
    for (const TeardownStep& step : steps) {
        signal(step.signal);
        ended = drainUntilEnd(Steady::now() + step.wait);
        if (ended)
            break;
    }
    // The leader may be gone while others of its group are not; until it is reaped, its number is still its
    // own.
    if (!ended || ownGroup)
        signal(SIGKILL);
    reap();
}

} // namespace halvo
