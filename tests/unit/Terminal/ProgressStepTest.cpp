#include "PseudoTerminal.h"

#include <Base/Text.h>
#include <Base/Unicode.h>
#include <Support/TerminalBuffer.h>

#include <gtest/gtest.h>

#include <atomic>

namespace halvo {
namespace {

using namespace std::chrono_literals;
using test::BufferTerminal;
using test::PseudoTerminal;

const ProgressStep archiving{"Archiving project", "Xcode archive created", "Failed to create archive"};
const ProgressStep uploading{"Uploading Demo.zip", "Uploaded", "Failed to upload"};

TEST(ProgressStepInAPipe, writesALineForEachUpdate) {
    BufferTerminal buffers;
    const int result = buffers.terminal.progressStep(archiving, [&](ProgressUpdater& line) {
        line.update("Compiling");
        line.update("Compiling");
        line.update("Linking \x1b[2J");
        buffers.now += 12'345ms;
        return 7;
    });
    EXPECT_EQ(result, 7);
    EXPECT_EQ(buffers.output->text, "");
    EXPECT_EQ("\n" + buffers.error->text, R"(
Archiving project
Compiling
Linking ␛[2J
✔ Xcode archive created (12.3s)
)");
}

TEST(ProgressStepInAPipe, keepsByteProgressSparse) {
    BufferTerminal buffers;
    buffers.terminal.progressStep(uploading, [&](ProgressUpdater& line) {
        for (std::uint64_t part = 0; part <= 2500; ++part) {
            line.progress(part * 40'000, 100'000'000);
            buffers.now += 10ms;
        }
    });
    EXPECT_EQ("\n" + buffers.error->text, R"(
Uploading Demo.zip
Uploading Demo.zip: 40 MB of 100 MB (40%)
Uploading Demo.zip: 80 MB of 100 MB (80%)
✔ Uploaded (25.0s)
)");
}

TEST(ProgressStepInAPipe, givesLongDurationsInMinutesAndHours) {
    const std::pair<std::chrono::milliseconds, const char*> durations[] = {
        {59'999ms, "(59.9s)"}, {60s, "(1m 00s)"}, {3599s, "(59m 59s)"}, {3900s, "(1h 05m)"}};
    for (const auto& [duration, shown] : durations) {
        BufferTerminal buffers;
        buffers.terminal.progressStep(archiving,
                                      [&, spent = duration](ProgressUpdater&) { buffers.now += spent; });
        EXPECT_NE(buffers.error->text.find(shown), std::string::npos) << buffers.error->text;
    }
}

class ProgressStepOnATerminal : public testing::Test {
protected:
    PseudoTerminal pseudoTerminal{60, 1000};
    std::atomic<std::chrono::milliseconds> elapsed{0ms};
    Terminal terminal{pseudoTerminal.streams(), Theme(),
                      [this] { return std::chrono::steady_clock::time_point(elapsed.load()); }};
};

TEST_F(ProgressStepOnATerminal, redrawsOneLineAndLeavesTheResult) {
    terminal.progressStep(archiving, [&](ProgressUpdater& line) {
        pseudoTerminal.expectToSee("⠙ Archiving project");
        EXPECT_FALSE(pseudoTerminal.cursorVisible());
        line.update("Compiling\nDemo");
        elapsed = 75s;
        pseudoTerminal.expectToSee("Compiling Demo  1m 15s");
        EXPECT_EQ(split(pseudoTerminal.screen(), '\n').size(), 1u);
    });
    pseudoTerminal.expectToSee("✔ Xcode archive created (1m 15s)");
    terminal.print("after");
    pseudoTerminal.expectToSee("after");
    pseudoTerminal.expectScreen("✔ Xcode archive created (1m 15s)\nafter");
    pseudoTerminal.expectCursor();
}

TEST_F(ProgressStepOnATerminal, showsBytesRateAndRemainingTime) {
    terminal.progressStep(uploading, [&](ProgressUpdater& line) {
        line.progress(0, 100'000'000);
        pseudoTerminal.expectToSee("Zero KB of 100 MB (0%)");
        elapsed = 2s;
        line.progress(20'000'000, 100'000'000);
        pseudoTerminal.expectToSee("20 MB of 100 MB (20%), 10 MB/s, 8s left");
        line.progress(30'000'000, 0);
        pseudoTerminal.expectToSee("Uploading Demo.zip  30 MB");
    });
}

TEST_F(ProgressStepOnATerminal, cutsALongLineToTheWidth) {
    const std::string longName(200, 'x');
    terminal.progressStep({longName, "Done", "Failed"}, [&](ProgressUpdater& line) {
        line.progress(1'000'000, 2'000'000);
        pseudoTerminal.expectToSee("x…  1 MB of 2 MB (50%)");
        EXPECT_EQ(displayWidth(pseudoTerminal.screen()), 59u);
    });
    pseudoTerminal.expectToSee("✔ Done");
    pseudoTerminal.expectScreen("✔ Done (0.0s)");
}

TEST_F(ProgressStepOnATerminal, restoresTheCursorAfterAFailure) {
    EXPECT_THROW(terminal.progressStep(archiving, [](ProgressUpdater&) { throw CancelledError(); }),
                 CancelledError);
    pseudoTerminal.expectToSee("✖ Failed to create archive (0.0s)");
    pseudoTerminal.expectCursor();
}

TEST_F(ProgressStepOnATerminal, givesTheLineToAnInnerStep) {
    terminal.progressStep(archiving, [&](ProgressUpdater&) {
        terminal.progressStep(uploading, [&](ProgressUpdater&) { pseudoTerminal.expectToSee("Uploading"); });
        EXPECT_FALSE(pseudoTerminal.cursorVisible());
        pseudoTerminal.expectToSee("✔ Uploaded (0.0s)\n");
        pseudoTerminal.expectToSee("Archiving project");
    });
    pseudoTerminal.expectToSee("✔ Xcode archive created");
    pseudoTerminal.expectScreen("✔ Uploaded (0.0s)\n✔ Xcode archive created (0.0s)");
    pseudoTerminal.expectCursor();
}

TEST_F(ProgressStepOnATerminal, stepsAsideForAQuestion) {
    bool answer = false;
    terminal.progressStep(archiving, [&](ProgressUpdater&) {
        std::jthread person([&] {
            pseudoTerminal.expectToSee("No   y/n");
            pseudoTerminal.expectCursor();
            pseudoTerminal.type("y");
        });
        answer = terminal.yesOrNoChoicePrompt({.question = "Go on?"});
        pseudoTerminal.expectToSee("✔ Go on? Yes\n");
        pseudoTerminal.expectToSee("Archiving project");
        EXPECT_FALSE(pseudoTerminal.cursorVisible());
    });
    EXPECT_TRUE(answer);
}

TEST_F(ProgressStepOnATerminal, doesNotTearLinesOfOtherThreads) {
    constexpr int count = 150;
    terminal.progressStep(archiving, [&](ProgressUpdater& line) {
        std::vector<std::jthread> threads;
        for (const char* name : {"first", "second", "third"})
            threads.emplace_back([&, name] {
                for (int index = 0; index < count; ++index) {
                    terminal.print(std::string(name) + " " + std::to_string(index) + ".");
                    line.update("Step " + std::to_string(index));
                }
            });
    });
    pseudoTerminal.expectToSee("✔ Xcode archive created (0.0s)");
    std::map<std::string, int> next;
    for (const std::string& line : split(pseudoTerminal.screen(), '\n')) {
        if (line.starts_with("✔"))
            continue;
        const std::string name = line.substr(0, line.find(' '));
        EXPECT_EQ(line, name + " " + std::to_string(next[name]++) + ".");
    }
    EXPECT_EQ(next, (std::map<std::string, int>{{"first", count}, {"second", count}, {"third", count}}));
}

TEST_F(ProgressStepOnATerminal, showsAWaitThatIsLongAndLeavesNothing) {
    EXPECT_EQ(terminal.wait("Fetching", [] { return 1; }), 1);
    EXPECT_EQ(pseudoTerminal.screen(), "");
    EXPECT_EQ(terminal.wait("Fetching",
                            [&] {
                                pseudoTerminal.expectToSee("Fetching");
                                return 2;
                            }),
              2);
    terminal.print("result");
    pseudoTerminal.expectToSee("result");
    pseudoTerminal.expectScreen("result");
    pseudoTerminal.expectCursor();
}

TEST(ProgressStepInAPipe, hasNothingOfAWait) {
    BufferTerminal buffers;
    EXPECT_THROW(buffers.terminal.wait("Fetching", [] { throw CancelledError(); }), CancelledError);
    EXPECT_EQ(buffers.output->text + buffers.error->text, "");
}

} // namespace
} // namespace halvo
