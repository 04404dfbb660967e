#include <Platform/SystemProcessRunner.h>

#include <Support/ChildProcess.h>
#include <Support/Shell.h>
#include <Support/TemporaryFolder.h>

#include <csignal>
#include <thread>

#include <unistd.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using namespace std::chrono_literals;
using test::shell;
using test::TemporaryFolder;

/// A run that is cancelled as soon as its tool has written a first line into a file.
class ProcessCancellationTest : public testing::Test {
protected:
    Environment environment{{{"PATH", "/usr/bin:/bin"}}};
    SystemProcessRunner runner{environment, ToolPaths(Environment(), "")};
    TemporaryFolder folder;
    std::string ready = folder / "ready";
    std::string trace = folder / "trace";

    /// The script gets the two paths as $1 and $2. Gives what the script wrote into `ready`.
    std::string cancelOnceReady(ProcessRequest request) {
        request.arguments.insert(request.arguments.end(), {ready, trace});
        std::stop_source source;
        request.cancellation = source.get_token();
        std::string text;
        std::jthread canceller([&] {
            text = test::awaitText(ready);
            source.request_stop();
        });
        EXPECT_THROW(runner.run(request), CancelledError);
        canceller.join();
        return text;
    }
};

TEST_F(ProcessCancellationTest, goesThroughTheStepsUntilTheChildIsGone) {
    ProcessRequest request = shell(
        "trap 'echo hup >> \"$2\"' HUP; trap 'echo term >> \"$2\"; exit' TERM;trap 'echo int >> \"$2\"' INT; echo $$ > \"$1\"; while :; do sleep 0.02; done");
    request.teardown = {{SIGHUP, 200ms}, {SIGTERM, 10s}, {SIGINT, 10s}};
    EXPECT_FALSE(test::isAlive(std::stoi(cancelOnceReady(request))));
    EXPECT_EQ(test::readText(trace), "hup\nterm\n");
}

TEST_F(ProcessCancellationTest, killsAChildThatOutlivesEveryStep) {
    ProcessRequest request = shell("trap '' TERM; echo $$ > \"$1\"; while :; do sleep 0.02; done");
    request.teardown = {{SIGTERM, 50ms}};
    EXPECT_FALSE(test::isAlive(std::stoi(cancelOnceReady(request))));
}

TEST_F(ProcessCancellationTest, leavesAChildThatIsFullOfOutputTheTimeToGo) {
    ProcessRequest request = shell(
        "trap 'head -c 3000000 /dev/zero; echo clean >> \"$2\"; exit' TERM;echo $$ > \"$1\"; while :; do sleep 0.02; done");
    request.teardown = {{SIGTERM, 10s}};
    cancelOnceReady(request);
    EXPECT_EQ(test::readText(trace), "clean\n");
}

TEST_F(ProcessCancellationTest, endsTheWholeGroupEvenWhenItsLeaderGoesFirst) {
    ProcessRequest request =
        shell("(trap '' TERM; sh -c 'echo $PPID > \"$1\"' sh \"$1\"; while :; do sleep 0.02; done) &wait");
    request.ownGroup = true;
    request.teardown = {{SIGTERM, 5s}};
    EXPECT_TRUE(test::vanishes(std::stoi(cancelOnceReady(request))));
}

TEST_F(ProcessCancellationTest, endsTheChildOfAProcessThatWasKilled) {
    const test::ChildProcess killed([this] {
        const std::jthread killer([this] {
            test::awaitText(ready);
            ::kill(::getpid(), SIGKILL);
        });
        runner.run(shell("echo $$ > \"$1\"; exec sleep 60", {ready}));
        return 0;
    });
    EXPECT_TRUE(test::vanishes(std::stoi(test::awaitText(ready))));
}

TEST_F(ProcessCancellationTest, startsNothingWhenItCameBefore) {
    std::stop_source source;
    source.request_stop();
    ProcessRequest request = shell("echo started > \"$1\"", {ready});
    request.cancellation = source.get_token();
    EXPECT_THROW(runner.run(request), CancelledError);
    EXPECT_THROW(runner.start(request), CancelledError);
    EXPECT_FALSE(std::filesystem::exists(ready));
}

TEST_F(ProcessCancellationTest, tearsDownAChildThatIsRead) {
    std::stop_source source;
    ProcessRequest request = shell("echo $$; exec sleep 60");
    request.cancellation = source.get_token();
    const auto process = runner.start(request);
    const pid_t child = std::stoi(std::get<RunningProcess::Line>(process->next()).text);
    const std::jthread canceller([&] {
        std::this_thread::sleep_for(20ms);
        source.request_stop();
    });
    EXPECT_THROW(process->next(), CancelledError);
    EXPECT_FALSE(test::isAlive(child));
}

TEST_F(ProcessCancellationTest, needsNoPatienceForAKilledTeardown) {
    ProcessRequest other = shell("trap '' TERM; echo; exec sleep 60");
    other.teardown = {{SIGKILL, 1s}};
    const auto untouched = runner.start(other);
    untouched->next();
    ProcessRequest request = shell("trap '' TERM; echo $$ > \"$1\"; while :; do sleep 0.02; done");
    request.teardown = {{SIGTERM, 1h}};
    request.ownGroup = true;
    std::jthread impatient([&](const std::stop_token& stop) {
        while (!stop.stop_requested()) {
            std::this_thread::sleep_for(20ms);
            runner.killCancelledChildren();
        }
    });
    const pid_t child = std::stoi(cancelOnceReady(request));
    EXPECT_FALSE(test::isAlive(child));
    EXPECT_TRUE(untouched->signalGroup(0)) << "a run that is not cancelled goes on";
}

TEST_F(ProcessCancellationTest, stopsAndContinuesChildrenWithGroupsOfTheirOwn) {
    ProcessRequest request = shell("echo; while :; do echo tick; sleep 0.01; done");
    request.ownGroup = true;
    const auto process = runner.start(request);
    process->next();
    runner.stopChildren();
    const auto quiet = [&] { // what was on its way comes first
        for (int event = 0; event < 1000; ++event)
            if (std::holds_alternative<RunningProcess::TimeOut>(
                    process->next(std::chrono::steady_clock::now() + 200ms)))
                return true;
        return false;
    };
    EXPECT_TRUE(quiet());
    runner.continueChildren();
    EXPECT_TRUE(
        std::holds_alternative<RunningProcess::Line>(process->next(std::chrono::steady_clock::now() + 10s)));
}

} // namespace
} // namespace halvo
