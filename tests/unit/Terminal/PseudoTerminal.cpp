#include "PseudoTerminal.h"

#include <cerrno>
#include <stdexcept>

#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace halvo::test {
namespace {

std::optional<std::string> variables(const std::string& name) {
    return name == "TERM" ? std::optional<std::string>("xterm") : std::nullopt;
}

} // namespace

PseudoTerminal::PseudoTerminal(std::size_t width, std::size_t height) : emulator(width, height) {
    const winsize size{static_cast<unsigned short>(height), static_cast<unsigned short>(width), 0, 0};
    if (::openpty(&master, &slave, nullptr, nullptr, &size) != 0)
        throw std::runtime_error("openpty failed");
}

PseudoTerminal::~PseudoTerminal() {
    if (child > 0) {
        ::kill(child, SIGKILL);
        ::waitpid(child, nullptr, 0);
    }
    if (slave >= 0)
        ::close(slave);
    reader = {};
    if (master >= 0)
        ::close(master);
}

TerminalStreams PseudoTerminal::streams() {
    const auto output = std::make_shared<FileDescriptorOutput>(slave, variables);
    startReading();
    return {output, output, std::make_shared<FileDescriptorInput>(slave)};
}

void PseudoTerminal::run(const std::function<int()>& program) {
    child = ::fork();
    if (child == 0) {
        ::close(master);
        ::setsid();
        ::ioctl(slave, TIOCSCTTY, 0);
        for (const int descriptor : {0, 1, 2})
            ::dup2(slave, descriptor);
        ::_exit(program());
    }
    startReading();
}

int PseudoTerminal::exitStatus(std::string_view keys) {
    for (int attempt = 0; attempt < 400; ++attempt) {
        int status = 0;
        if (::waitpid(child, &status, WNOHANG) == child) {
            child = -1;
            return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        type(keys);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return -1;
}

void PseudoTerminal::startReading() {
    if (reader.joinable())
        return;
    reader = std::jthread([this](const std::stop_token& stop) {
        char buffer[4096];
        while (!stop.stop_requested()) {
            pollfd readable{master, POLLIN, 0};
            if (::poll(&readable, 1, 20) <= 0)
                continue;
            const ssize_t count = ::read(master, buffer, sizeof buffer);
            if (count <= 0)
                return;
            const std::lock_guard held(mutex);
            bytes.append(buffer, static_cast<std::size_t>(count));
            try {
                emulator.feed({buffer, static_cast<std::size_t>(count)});
            } catch (const std::exception& error) {
                fault = error.what();
            }
            changed.notify_all();
        }
    });
}

void PseudoTerminal::type(std::string_view keys) const {
    ASSERT_EQ(::write(master, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

void PseudoTerminal::expectToSee(std::string_view text) {
    expect(text, [&] { return emulator.text().find(text) != std::string::npos; });
}

void PseudoTerminal::expectScreen(std::string_view text) {
    expect(text, [&] { return emulator.text() == text; });
}

void PseudoTerminal::expectCursor() {
    expect("the cursor", [&] { return emulator.cursorVisible(); });
}

void PseudoTerminal::expect(std::string_view what, const std::function<bool()>& holds) {
    std::unique_lock held(mutex);
    const bool seen =
        changed.wait_for(held, std::chrono::seconds(20), [&] { return !fault.empty() || holds(); });
    EXPECT_EQ(fault, "");
    EXPECT_TRUE(seen) << "not seen: " << what << "\non the screen:\n" << emulator.text();
}

std::string PseudoTerminal::screen() {
    const std::lock_guard held(mutex);
    EXPECT_EQ(fault, "");
    return emulator.text();
}

std::string PseudoTerminal::transcript() {
    const std::lock_guard held(mutex);
    return bytes;
}

bool PseudoTerminal::cursorVisible() {
    const std::lock_guard held(mutex);
    return emulator.cursorVisible();
}

bool PseudoTerminal::isInLineMode() const {
    termios mode{};
    EXPECT_EQ(::tcgetattr(master, &mode), 0); // the master answers for both ends
    constexpr tcflag_t lineMode = ICANON | ECHO | ISIG | IEXTEN;
    return (mode.c_lflag & lineMode) == lineMode && (mode.c_iflag & ICRNL) != 0 && mode.c_cc[VSUSP] == 0x1A;
}

void PseudoTerminal::hangUp() {
    reader = {};
    ::close(std::exchange(master, -1));
}

} // namespace halvo::test
