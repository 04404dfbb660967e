#include "TerminalRestoration.h"

#include <Terminal/InputSource.h>

#include <atomic>
#include <cerrno>
#include <string_view>

#include <unistd.h>

namespace halvo {
namespace {

constexpr int none = -1;
constexpr std::string_view hideCursor = "\x1b[?25l";

struct Changes {
    termios original{}; ///< both are written before `rawDescriptor` is set, and not while it is
    termios raw{};
    std::atomic<int> rawDescriptor = none;
    std::atomic<int> cursorDescriptor = none;
};

constinit Changes changes;

bool isInForeground(int descriptor) { return ::tcgetpgrp(descriptor) == ::getpgrp(); }

} // namespace

void noteRawMode(int descriptor, const termios& original, const termios& raw) noexcept {
    changes.original = original;
    changes.raw = raw;
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
    if (const int descriptor = changes.rawDescriptor; descriptor != none)
        ::tcsetattr(descriptor, TCSANOW, &changes.original);
    if (const int descriptor = changes.cursorDescriptor; descriptor != none) {
        constexpr std::string_view showCursorOnAnEmptyLine = "\r\x1b[K\x1b[?25h";
        // A terminal that is gone needs no cursor.
        [[maybe_unused]] const auto written =
            ::write(descriptor, showCursorOnAnEmptyLine.data(), showCursorOnAnEmptyLine.size());
    }
}

void takeTerminalAgain() noexcept {
    if (const int descriptor = changes.rawDescriptor; descriptor != none && isInForeground(descriptor))
        ::tcsetattr(descriptor, TCSANOW, &changes.raw);
    if (const int descriptor = changes.cursorDescriptor; descriptor != none && isInForeground(descriptor))
        [[maybe_unused]]
        const auto written = ::write(descriptor, hideCursor.data(), hideCursor.size());
}

} // namespace halvo
