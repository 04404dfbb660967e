#include "PseudoTerminal.h"

#include <gtest/gtest.h>

#include <csignal>
#include <thread>

#include <unistd.h>

// Ctrl-C as a person presses it: in children that have the pseudo-terminal as their controlling terminal.

namespace halvo {
namespace {

using test::PseudoTerminal;

std::optional<std::string> xterm(const std::string& name) {
    return name == "TERM" ? std::optional<std::string>("xterm") : std::nullopt;
}

constexpr int cancelledStatus = 30;
constexpr int endedBySecondStatus = 31;
const TextQuestion password{.prompt = "What is your password?", .secure = true};

/// As the program does: the first Ctrl-C cancels, the second ends the process at once.
int runInterruptible(const std::function<void(Terminal&)>& body) {
    sigset_t interrupt;
    ::sigemptyset(&interrupt);
    ::sigaddset(&interrupt, SIGINT);
    ::pthread_sigmask(SIG_BLOCK, &interrupt, nullptr);
    std::stop_source cancellation;
    std::thread([interrupt, &cancellation] {
        int signal = 0;
        ::sigwait(&interrupt, &signal);
        cancellation.request_stop();
        ::sigwait(&interrupt, &signal);
        restoreTerminal();
        ::_exit(endedBySecondStatus);
    }).detach(); // ends with the process

    const auto now = [] { return std::chrono::steady_clock::now(); };
    Terminal terminal(TerminalStreams::ofProcess(xterm), Theme(), now, cancellation.get_token());
    try {
        body(terminal);
        return 0;
    } catch (const CancelledError&) {
        return cancelledStatus;
    }
}

/// Something that takes no notice of a cancellation.
[[noreturn]] void beBusy() {
    for (;;)
        ::pause();
}

TEST(ControlC, cancelsAPromptAndRestoresTheTerminal) {
    PseudoTerminal terminal;
    terminal.run([] { return runInterruptible([](Terminal& kit) { kit.textPrompt(password); }); });
    terminal.expectToSee("❯");
    terminal.type("abc");
    terminal.expectToSee("•••");
    EXPECT_FALSE(terminal.isInLineMode());
    terminal.type("\x03");
    EXPECT_EQ(terminal.exitStatus(), cancelledStatus);
    EXPECT_TRUE(terminal.isInLineMode());
    terminal.expectScreen("What is your password?\n❯ •••");
}

TEST(ControlC, pressedTwiceShowsTheCursorThatAStepHid) {
    PseudoTerminal terminal;
    terminal.run([] {
        return runInterruptible([](Terminal& kit) {
            kit.progressStep({"Working", "Done", "Failed"}, [](ProgressUpdater&) { beBusy(); });
        });
    });
    terminal.expectToSee("Working");
    EXPECT_FALSE(terminal.cursorVisible());
    EXPECT_EQ(terminal.exitStatus("\x03"), endedBySecondStatus);
    terminal.expectCursor();
    EXPECT_EQ(terminal.screen().find("Working"), std::string::npos);
}

TEST(RestoreTerminal, doesNothingWhenNothingWasChanged) {
    PseudoTerminal terminal;
    const TerminalStreams streams = terminal.streams();
    restoreTerminal();
    streams.standardInput->beginRawMode();
    EXPECT_FALSE(terminal.isInLineMode());
    restoreTerminal();
    EXPECT_TRUE(terminal.isInLineMode());
    streams.standardInput->endRawMode();
    restoreTerminal();
    EXPECT_EQ(terminal.transcript(), "");
}

} // namespace
} // namespace halvo
