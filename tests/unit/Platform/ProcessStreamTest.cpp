#include <Platform/SystemProcessRunner.h>

#include <Support/Shell.h>
#include <Support/TemporaryFolder.h>

#include <array>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::shell;
using test::TemporaryFolder;
using Lines = std::vector<std::string>;

/// All lines to the end, by stream.
std::array<Lines, 2> readAll(RunningProcess& process) {
    std::array<Lines, 2> lines;
    for (;;) {
        auto event = process.next();
        if (const auto* line = std::get_if<RunningProcess::Line>(&event))
            lines[static_cast<std::size_t>(line->stream)].push_back(line->text);
        else
            return lines;
    }
}

pid_t readNumber(RunningProcess& process) {
    return std::stoi(std::get<RunningProcess::Line>(process.next()).text);
}

class ProcessStreamTest : public testing::Test {
protected:
    Environment environment{{{"PATH", "/usr/bin:/bin"}}};
    SystemProcessRunner runner{environment, ToolPaths(Environment(), "")};
};

TEST_F(ProcessStreamTest, cutsLinesAtBreaks) {
    const std::pair<const char*, Lines> cases[] = {
        {"printf 'a\\n\\nb\\n'", {"a", "", "b"}},
        {"printf '10%%\\r20%%\\rdone\\n'", {"10%", "20%", "done"}},
        {"printf 'a\\r'; sleep 0.1; printf '\\nb\\n'", {"a", "b"}},
        {"printf 'a'; sleep 0.1; printf 'b\\nc'", {"ab", "c"}},
        {"printf 'a\\377b\\n'", {"a\ufffdb"}},
        {"printf '\\303'; sleep 0.1; printf '\\251\\n'", {"\u00e9"}}};
    for (const auto& [script, lines] : cases) {
        const auto process = runner.start(shell(script));
        EXPECT_EQ(readAll(*process)[0], lines) << script;
        EXPECT_TRUE(process->wait().succeeded());
    }
}

TEST_F(ProcessStreamTest, cutsAnEndlessLineIntoPieces) {
    const auto process = runner.start(shell("head -c 2500000 /dev/zero | tr '\\0' x"));
    const Lines lines = readAll(*process)[0];
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].size(), std::size_t(1) << 20);
    EXPECT_EQ(lines[0].size() + lines[1].size() + lines[2].size(), 2500000u);
}

TEST_F(ProcessStreamTest, readsBothStreamsAtOnce) {
    const auto process = runner.start(shell("seq 1 200000 & seq 1 100000 >&2; wait"));
    const auto [lines, errors] = readAll(*process);
    EXPECT_TRUE(process->wait().succeeded());
    EXPECT_EQ(lines.size(), 200000u);
    EXPECT_EQ(lines.back(), "200000");
    EXPECT_EQ(errors.size(), 100000u);
}

TEST_F(ProcessStreamTest, tellsWhenNothingCameInTime) {
    const auto process = runner.start(shell("printf 'In Progress..'; sleep 0.5; exit 3"));
    RunningProcess::Event event =
        process->next(std::chrono::steady_clock::now() + std::chrono::milliseconds(200));
    ASSERT_TRUE(std::holds_alternative<RunningProcess::TimeOut>(event));
    EXPECT_EQ(std::get<RunningProcess::TimeOut>(event).begun, "In Progress..");
    EXPECT_EQ(std::get<RunningProcess::Line>(process->next()).text, "In Progress..");
    for (int time = 0; time < 2; ++time)
        EXPECT_EQ(std::get<RunningProcess::End>(process->next()).termination.value, 3);
}

TEST_F(ProcessStreamTest, endsAlthoughAGrandchildKeepsThePipeFull) {
    const TemporaryFolder folder;
    const auto process =
        runner.start(shell("yes & echo $! > \"$1\"; sleep 0.05", {(folder / "pid").string()}));
    std::size_t lines = 0;
    constexpr std::size_t enough = 10'000'000; // far beyond what comes before the end of the child
    while (lines < enough && !std::holds_alternative<RunningProcess::End>(process->next()))
        ++lines;
    ::kill(std::stoi(test::awaitText(folder / "pid")), SIGKILL);
    EXPECT_LT(lines, enough);
}

TEST_F(ProcessStreamTest, signalsTheWholeGroupOfItsChild) {
    ProcessRequest request = shell("sh -c 'echo $$; exec sleep 60' & echo $$; wait");
    request.ownGroup = true;
    const auto process = runner.start(request);
    const pid_t first = readNumber(*process);
    const pid_t second = readNumber(*process);
    EXPECT_TRUE(process->signalGroup(SIGKILL));
    EXPECT_EQ(process->wait(), (Termination{Termination::Kind::signalled, SIGKILL}));
    EXPECT_TRUE(test::vanishes(first));
    EXPECT_TRUE(test::vanishes(second));
    EXPECT_FALSE(process->signalGroup(SIGKILL)) << "the number may be somebody else's by now";
}

TEST_F(ProcessStreamTest, tearsDownAChildThatNobodyWaitsFor) {
    ProcessRequest request = shell("trap '' TERM; sleep 60 & echo $!; echo $$; wait; sleep 60");
    request.ownGroup = true;
    request.teardown = {{SIGTERM, std::chrono::milliseconds(50)}};
    pid_t grandchild = 0;
    pid_t child = 0;
    {
        const auto process = runner.start(request);
        grandchild = readNumber(*process);
        child = readNumber(*process);
    }
    EXPECT_TRUE(test::vanishes(grandchild));
    EXPECT_FALSE(test::isAlive(child));
}

} // namespace
} // namespace halvo
