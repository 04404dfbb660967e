#include <Terminal/OutputPipeline.h>

#include "TerminalRestoration.h"

#include <cerrno>
#include <system_error>

#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace halvo {

OutputError::OutputError(int errorNumber)
    : Failure("The output cannot be written: " + std::generic_category().message(errorNumber) + "."),
      errorNumber(errorNumber) {}

FileDescriptorOutput::FileDescriptorOutput(int descriptor, const VariableLookup& variables)
    : descriptor(descriptor), atStart(detectTerminal(descriptor, variables)) {}

void FileDescriptorOutput::write(std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written >= 0) {
            bytes.remove_prefix(static_cast<std::size_t>(written));
        } else if (errno == EAGAIN || errno == EWOULDBLOCK) {
            // Somebody who shares the terminal or pipe made it non-blocking.
            pollfd writable{descriptor, POLLOUT, 0};
            ::poll(&writable, 1, -1);
        } else if (errno != EINTR) {
            throw OutputError(errno);
        }
    }
}

TerminalDescription FileDescriptorOutput::description() const {
    TerminalDescription current = atStart;
    winsize size{};
    if (atStart.interactive && ::ioctl(descriptor, TIOCGWINSZ, &size) == 0) {
        if (size.ws_col > 0)
            current.width = size.ws_col;
        if (size.ws_row > 0)
            current.height = size.ws_row;
    }
    return current;
}

void FileDescriptorOutput::setCursorVisible(bool visible) {
    if (!visible)
        noteHiddenCursor(descriptor);
    write(visible ? "\x1b[?25h" : "\x1b[?25l");
    if (visible)
        noteCursorShown();
}

} // namespace halvo
