#pragma once

#include "ScreenEmulator.h"

#include <Terminal/Terminal.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include <sys/types.h>
#include <termios.h>

namespace halvo::test {

/// A real pseudo-terminal, with this test as the person before it.
class PseudoTerminal {
public:
    explicit PseudoTerminal(std::size_t width = 60, std::size_t height = 24);
    PseudoTerminal(const PseudoTerminal&) = delete;
    PseudoTerminal& operator=(const PseudoTerminal&) = delete;
    ~PseudoTerminal();

    /// The program's end, as all three streams of a kit.
    TerminalStreams streams();
    /// Runs `program` in a child whose controlling terminal this is; it ends with what `program` returns.
    void run(const std::function<int()>& program);
    /// The exit status of the child, with `keys` typed again and again until it ends; -1 when a signal ended
    /// it, or when it is still there after some seconds.
    int exitStatus(std::string_view keys = {});

    void type(std::string_view keys) const;
    /// Waits until the screen shows `text`; fails the test after some seconds.
    void expectToSee(std::string_view text);
    /// Waits until the screen shows nothing but `text`.
    void expectScreen(std::string_view text);
    std::string screen();
    /// Every byte that the program wrote.
    std::string transcript();
    bool cursorVisible();
    /// Waits until the cursor is visible, like expectToSee.
    void expectCursor();
    /// Echo and line mode are on, as they were at first.
    bool isInLineMode() const;
    void hangUp();

private:
    void startReading();
    void expect(std::string_view what, const std::function<bool()>& holds);

    int master = -1;
    int slave = -1;
    pid_t child = -1;
    std::mutex mutex; ///< guards what the reading thread writes
    std::condition_variable changed;
    ScreenEmulator emulator;
    std::string bytes;
    std::string fault;
    std::jthread reader;
};

} // namespace halvo::test
