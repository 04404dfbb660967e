#include "TerminalRestoration.h"

#include <Terminal/InputSource.h>

#include <atomic>
#include <cerrno>
#include <string_view>

#include <unistd.h>

namespace halvo {
namespace {

constexpr int none = -1;

struct Changes {
    termios original{}; ///< written before `rawDescriptor` is set, and not while it is
    std::atomic<int> rawDescriptor = none;
    std::atomic<int> cursorDescriptor = none;
};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler reads these");

constinit Changes changes;

} // namespace

void noteRawMode(int descriptor, const termios& original) noexcept {
    changes.original = original;
    changes.rawDescriptor = descriptor;
}

void restoreNotedMode() noexcept {
    // A terminal that refuses has hung up: its mode is nobody's any more.
    while (::tcsetattr(changes.rawDescriptor, TCSANOW, &changes.original) != 0 && errno == EINTR) {
    }
    changes.rawDescriptor = none;
}

void noteHiddenCursor(int descriptor) noexcept { changes.cursorDescriptor = descriptor; }
void noteCursorShown() noexcept { changes.cursorDescriptor = none; }

void restoreTerminal() noexcept {
    const int callersError = errno;
    if (const int descriptor = changes.rawDescriptor; descriptor != none)
        ::tcsetattr(descriptor, TCSANOW, &changes.original);
    if (const int descriptor = changes.cursorDescriptor; descriptor != none) {
        constexpr std::string_view showCursorOnAnEmptyLine = "\r\x1b[K\x1b[?25h";
        // The process is about to end: there is nobody left to tell of a failure.
        [[maybe_unused]] const auto written =
            ::write(descriptor, showCursorOnAnEmptyLine.data(), showCursorOnAnEmptyLine.size());
    }
    errno = callersError;
}

} // namespace halvo
