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

/// How often a child is asked whether it has ended where the kernel has no pidfd (before 5.3).
constexpr std::chrono::milliseconds endPoll{20};

[[noreturn]] void failSystem(std::string action) {
    throw ProcessError(ProcessError::SystemFailure{std::move(action), errno});
}

/// For poll(2): rounded up, so that it does not wake before the deadline; -1 without one.
int millisecondsUntil(std::optional<Steady::time_point> deadline) {
    if (!deadline)
        return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Steady::now()).count();
    return static_cast<int>(std::clamp<long long>(left, 0, std::numeric_limits<int>::max()));
}

Descriptor makeEvent() {
    Descriptor event(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!event.isOpen())
        failSystem("start a tool");
    return event;
}

} // namespace

void RunningChildren::add(pid_t pid, pid_t target, std::stop_token cancellation) {
    const std::lock_guard lock(mutex);
    children[pid] = {target, std::move(cancellation)};
}

void RunningChildren::remove(pid_t pid) {
    const std::lock_guard lock(mutex);
    children.erase(pid);
}

void RunningChildren::signal(int number) {
    const std::lock_guard lock(mutex);
    for (const auto& [pid, child] : children)
        ::kill(child.target, number);
}

void RunningChildren::killCancelled() {
    const std::lock_guard lock(mutex);
    for (const auto& [pid, child] : children)
        if (child.cancellation.stop_requested())
            ::kill(child.target, SIGKILL);
}

ChildProcess::ChildProcess(const std::filesystem::path& executable, const ProcessRequest& request,
                           const Environment& environment, RunningChildren& children)
    : ownGroup(request.ownGroup), steps(request.teardown), children(children), cancelled(makeEvent()),
      buffer(256 << 10), cancellation(request.cancellation, [this] { ::eventfd_write(cancelled.get(), 1); }) {
    if (request.cancellation.stop_requested())
        throw CancelledError();
    SpawnedChild child = spawn(executable, request, environment);
    pid = child.pid;
    children.add(pid, ownGroup ? -pid : pid, request.cancellation);
    sources[0].pipe = std::move(child.standardOutput);
    sources[1].pipe = std::move(child.standardError);
    end = Descriptor(static_cast<int>(::syscall(SYS_pidfd_open, pid, 0)));
}

ChildProcess::~ChildProcess() {
    if (ended)
        return;
    try {
        tearDown();
    } catch (const ProcessError&) {
        // The child has been told to go; there is nobody left to tell, and nothing left to try.
    }
}

bool ChildProcess::hasEnded() const {
    siginfo_t info{};
    return ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) == 0 &&
           info.si_pid == pid;
}

/// Nothing is ready when the deadline has passed.
ChildProcess::Ready ChildProcess::waitForAny(std::optional<Instant> deadline, bool heedsCancellation) const {
    std::array<pollfd, 4> entries{{{sources[0].pipe.get(), POLLIN, 0},
                                   {sources[1].pipe.get(), POLLIN, 0},
                                   {end.get(), POLLIN, 0},
                                   {heedsCancellation ? cancelled.get() : -1, POLLIN, 0}}};
    for (;;) {
        const auto wake =
            end.isOpen() ? deadline : std::min(deadline.value_or(Instant::max()), Steady::now() + endPoll);
        const int count = ::poll(entries.data(), entries.size(), millisecondsUntil(wake));
        if (count < 0 && errno != EINTR)
            failSystem("wait for a tool");
        const auto isReady = [&](std::size_t index) { return count > 0 && entries[index].revents != 0; };
        const Ready ready{.streams = {isReady(0), isReady(1)},
                          .ended = end.isOpen() ? isReady(2) : hasEnded(),
                          .cancelled = isReady(3)};
        if (count > 0 || ready.ended || (deadline && Steady::now() >= *deadline))
            return ready;
    }
}

bool ChildProcess::readPipe(std::size_t index, std::size_t limit, const Receiver& receive) {
    Descriptor& pipe = sources[index].pipe;
    ssize_t count = 0;
    do
        count = ::read(pipe.get(), buffer.data(), std::min(buffer.size(), limit));
    while (count < 0 && errno == EINTR);
    if (count < 0 && errno != EAGAIN)
        failSystem("read a tool's output");
    if (count == 0)
        pipe.close();
    if (count > 0 && receive)
        receive(static_cast<OutputStream>(index), std::span(buffer).first(static_cast<std::size_t>(count)));
    return count > 0;
}

void ChildProcess::readRest(const Receiver& receive) {
    for (const std::size_t index : {0, 1}) {
        int available = 0;
        if (!sources[index].pipe.isOpen() || ::ioctl(sources[index].pipe.get(), FIONREAD, &available) != 0)
            continue;
        std::size_t rest = static_cast<std::size_t>(available);
        const Receiver counting = [&](OutputStream stream, std::span<const char> bytes) {
            rest -= bytes.size();
            receive(stream, bytes);
        };
        while (rest > 0 && readPipe(index, rest, counting))
            ;
    }
}

bool ChildProcess::read(std::optional<Instant> deadline, const Receiver& receive) {
    const Ready ready = waitForAny(deadline, true);
    if (ready.cancelled) {
        tearDown();
        throw CancelledError();
    }
    if (ready.ended) {
        readRest(receive);
        reap();
        return true;
    }
    for (const std::size_t index : {0, 1})
        if (ready.streams[index])
            readPipe(index, buffer.size(), receive);
    return ready.streams[0] || ready.streams[1];
}

RunningProcess::Event ChildProcess::next(std::optional<Instant> deadline) {
    const Receiver split = [this](OutputStream stream, std::span<const char> bytes) {
        sources[static_cast<std::size_t>(stream)].lines.feed(bytes);
    };
    for (;;) {
        for (const std::size_t index : {0, 1})
            if (auto line = sources[index].lines.next())
                return Line{static_cast<OutputStream>(index), *std::move(line)};
        if (ended)
            return End{*ended};
        if (!read(deadline, split))
            return TimeOut{sources[0].lines.begun()};
        if (ended)
            for (Source& source : sources)
                source.lines.finish();
    }
}

bool ChildProcess::signalGroup(int number) { return !ended && ::kill(ownGroup ? -pid : pid, number) == 0; }

void ChildProcess::reap() {
    children.remove(pid);
    siginfo_t info{};
    int result = 0;
    do
        result = ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED);
    while (result != 0 && errno == EINTR);
    if (result != 0)
        failSystem("learn how a tool ended");
    ended = {info.si_code == CLD_EXITED ? Termination::Kind::exited : Termination::Kind::signalled,
             info.si_status};
}

void ChildProcess::tearDown() {
    bool gone = false;
    for (const TeardownStep& step : steps) {
        signalGroup(step.signal);
        const Instant deadline = Steady::now() + step.wait;
        // What it still writes is dropped: it could not end with a full pipe.
        while (!gone && Steady::now() < deadline) {
            const Ready ready = waitForAny(deadline, false);
            gone = ready.ended;
            for (const std::size_t index : {0, 1})
                if (ready.streams[index])
                    readPipe(index, buffer.size(), {});
        }
        if (gone)
            break;
    }
    // The leader may be gone while others of its group are not; until it is reaped, its number is still its
    // own.
    if (!gone || ownGroup)
        signalGroup(SIGKILL);
    reap();
}

} // namespace halvo
