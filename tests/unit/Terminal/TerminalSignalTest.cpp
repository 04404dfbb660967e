#include "PseudoTerminal.h"

#include <Platform/Interruption.h>

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
const TextQuestion password{.prompt = "What is your password?", .secure = true};

/// As the program does.
int runInterruptible(const std::function<void(Terminal&)>& body) {
    std::stop_source cancellation;
    const Interruption interruption(
        cancellation, {.abandon = restoreTerminal, .suspend = restoreTerminal, .resume = takeTerminalAgain});
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

TEST(ControlC, pressedThriceShowsTheCursorThatAStepHid) {
    PseudoTerminal terminal;
    terminal.run([] {
        return runInterruptible([](Terminal& kit) {
            kit.progressStep({"Working", "Done", "Failed"}, [](ProgressUpdater&) { beBusy(); });
        });
    });
    terminal.expectToSee("Working");
    EXPECT_FALSE(terminal.cursorVisible());
    EXPECT_EQ(terminal.exitStatus("\x03"), 128 + SIGINT);
    terminal.expectCursor();
    EXPECT_EQ(terminal.screen().find("Working"), std::string::npos);
}

TEST(ControlZ, showsTheCursorWhileTheProcessIsStopped) {
    PseudoTerminal terminal;
    terminal.run([] {
        return runInterruptible([](Terminal& kit) {
            kit.progressStep({"Working", "Done", "Failed"}, [](ProgressUpdater&) { beBusy(); });
        });
    });
    terminal.expectToSee("Working");
    terminal.type("\x1a"); // no shell is here that could continue it: it goes on at once
    const auto wasGivenBackAndTaken = [&] {
        const std::string bytes = terminal.transcript();
        const std::size_t shown = bytes.find("\x1b[?25h");
        return shown != std::string::npos && bytes.find("\x1b[?25l", shown) != std::string::npos;
    };
    for (int attempt = 0; attempt < 500 && !wasGivenBackAndTaken(); ++attempt)
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    EXPECT_TRUE(wasGivenBackAndTaken());
    EXPECT_FALSE(terminal.cursorVisible());
    EXPECT_EQ(terminal.exitStatus("\x03"), 128 + SIGINT);
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
