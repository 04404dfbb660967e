#include <Terminal/InputSource.h>

#include <Base/Failure.h>
#include <Terminal/Prompts.h>

#include "TerminalRestoration.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace halvo {
namespace {

[[noreturn]] void throwTerminalFailure() { throw PromptError(PromptError::TerminalFailure{errno}); }

/// A pipe that becomes readable when cancellation is requested, for poll(2) to wait on.
class CancellationPipe {
public:
    explicit CancellationPipe(const std::stop_token& cancellation)
        : ends(open()), callback(cancellation, Wake{ends[1]}) {}
    CancellationPipe(const CancellationPipe&) = delete;
    CancellationPipe& operator=(const CancellationPipe&) = delete;
    ~CancellationPipe() {
        ::close(ends[0]);
        ::close(ends[1]);
    }

    int readable() const { return ends[0]; }

private:
    struct Wake {
        int descriptor;
        void operator()() const noexcept {
            [[maybe_unused]] const auto written =
                ::write(descriptor, "", 1); // the pipe has room for one byte
        }
    };

    static std::array<int, 2> open() {
        std::array<int, 2> ends{};
        if (::pipe(ends.data()) != 0)
            throwTerminalFailure();
        for (const int end : ends)
            ::fcntl(end, F_SETFD, FD_CLOEXEC);
        return ends;
    }

    std::array<int, 2> ends;
    std::stop_callback<Wake> callback;
};

void setMode(int descriptor, const termios& mode) {
    while (::tcsetattr(descriptor, TCSANOW, &mode) != 0) {
        if (errno != EINTR)
            throwTerminalFailure();
    }
}

} // namespace

FileDescriptorInput::~FileDescriptorInput() { endRawMode(); }

bool FileDescriptorInput::interactive() const { return ::isatty(descriptor) != 0; }

InputSource::Read FileDescriptorInput::read(std::optional<std::chrono::milliseconds> timeout,
                                            const std::stop_token& cancellation) {
    const CancellationPipe cancelled(cancellation);
    for (;;) {
        if (cancellation.stop_requested())
            throw CancelledError();
        std::array<pollfd, 2> waiting{{{descriptor, POLLIN, 0}, {cancelled.readable(), POLLIN, 0}}};
        const int ready =
            ::poll(waiting.data(), waiting.size(), timeout ? static_cast<int>(timeout->count()) : -1);
        if (ready == 0)
            return {Read::Kind::timeout};
        if (ready < 0 && errno != EINTR)
            throwTerminalFailure();
        if (ready < 0 || waiting[0].revents == 0)
            continue;
        Read result{Read::Kind::byte};
        const ssize_t count = ::read(descriptor, &result.byte, 1);
        if (count == 1)
            return result;
        if (count == 0 || errno == EIO) // EIO: the terminal hung up
            return {Read::Kind::endOfInput};
        if (errno != EINTR && errno != EAGAIN)
            throwTerminalFailure();
    }
}

void FileDescriptorInput::beginRawMode() {
    if (raw)
        return;
    termios original{};
    if (::tcgetattr(descriptor, &original) != 0)
        throwTerminalFailure();
    termios mode = original;
    mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ECHONL | IEXTEN);
    mode.c_iflag &= ~static_cast<tcflag_t>(ICRNL | INLCR | IGNCR | ISTRIP | IXON);
    // Of the keys that send signals Ctrl-C stays, for the program's own handler. The default action of the
    // others would leave the terminal as it is now.
    mode.c_cc[VSUSP] = _POSIX_VDISABLE;
    mode.c_cc[VQUIT] = _POSIX_VDISABLE;
    mode.c_cc[VMIN] = 1;
    mode.c_cc[VTIME] = 0;
    noteRawMode(descriptor, original, mode);
    raw = true;
    try {
        setMode(descriptor, mode);
    } catch (...) {
        endRawMode();
        throw;
    }
}

void FileDescriptorInput::endRawMode() noexcept {
    if (std::exchange(raw, false))
        restoreNotedMode();
}

void FileDescriptorInput::suspend() {
    endRawMode();
    // Taken by this thread itself: another one that waits for the signal would stop the process at some later
    // time.
    sigset_t stop;
    sigset_t before;
    ::sigemptyset(&stop);
    ::sigaddset(&stop, SIGTSTP);
    ::pthread_sigmask(SIG_UNBLOCK, &stop, &before);
    ::kill(0, SIGTSTP);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    beginRawMode();
}

} // namespace halvo
