#include <Support/TerminalBuffer.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

const Alert notLoggedIn{"Not logged in",
                        {"Run " + TerminalText::command("halvo login") + " to authenticate"}};

void showAlerts(Terminal& terminal) {
    terminal.success("Setup complete! Run " + TerminalText::command("halvo release") + ".");
    terminal.warning({notLoggedIn, {"Two\nlines", {"One", "Two\nlines"}}});
    terminal.error({"Release failed: \x1b[2J", {}});
}

TEST(Alerts, areLinesInAPipe) {
    test::BufferTerminal buffers;
    showAlerts(buffers.terminal);
    EXPECT_EQ("\n" + buffers.output->text, R"(
Success: Setup complete! Run `halvo release`.
Warning: Not logged in
  Next step: Run `halvo login` to authenticate
Warning: Two
  lines
  Next step: One
  Next step: Two
    lines
)");
    EXPECT_EQ(buffers.error->text, "Error: Release failed: ␛[2J\n");
}

TEST(Alerts, areBlocksOnATerminal) {
    test::BufferTerminal buffers({.interactive = true});
    showAlerts(buffers.terminal);
    EXPECT_EQ("\n" + buffers.output->text, R"(
✔ Success
  Setup complete! Run `halvo release`.
! Warning
  Not logged in
  › Run `halvo login` to authenticate
! Warning
  Two
  lines
  › One
  › Two
    lines
)");
    EXPECT_EQ(buffers.error->text, "✖ Error\n  Release failed: ␛[2J\n");
}

TEST(Terminal, keepsItsStreamsApart) {
    test::BufferTerminal buffers;
    buffers.output->terminal.coloured = true; // `halvo ... 2> log`
    buffers.terminal.print(TerminalText::danger("to output"));
    buffers.terminal.printError(TerminalText::danger("to error"));
    EXPECT_EQ(buffers.output->text, "\x1b[31mto output\x1b[0m\n");
    EXPECT_EQ(buffers.error->text, "to error\n");
    EXPECT_EQ(buffers.terminal.format(TerminalText::command("halvo")), "\x1b[1;36mhalvo\x1b[0m");
}

} // namespace
} // namespace halvo
