#include <Platform/SystemProcessRunner.h>

#include <Base/Text.h>
#include <Support/Shell.h>
#include <Support/TemporaryFolder.h>

#include <thread>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::shell;
using test::TemporaryFolder;

class ProcessRunnerTest : public testing::Test {
protected:
    Environment environment{{{"PATH", "/usr/bin:/bin"}, {"KEPT", "kept"}, {"REPLACED", "old"}}};
    SystemProcessRunner runner{environment, ToolPaths(Environment(), "")};
};

TEST_F(ProcessRunnerTest, givesStatusAndBothOutputs) {
    const ProcessResult result = runner.run(shell("echo out; printf err >&2; exit 3"));
    EXPECT_EQ(result.termination, (Termination{Termination::Kind::exited, 3}));
    EXPECT_FALSE(result.succeeded());
    EXPECT_EQ(result.standardOutput, "out\n");
    EXPECT_EQ(result.standardError, "err");
}

TEST_F(ProcessRunnerTest, reportsASignalAndNeverAsSuccess) {
    const ProcessResult result = runner.run(shell("echo before; kill -9 $$"));
    EXPECT_EQ(result.termination, (Termination{Termination::Kind::signalled, SIGKILL}));
    EXPECT_FALSE(result.succeeded());
    EXPECT_EQ(result.standardOutput, "before\n");
    EXPECT_FALSE((Termination{Termination::Kind::signalled, 0}).succeeded());
}

TEST_F(ProcessRunnerTest, passesEveryArgumentUnchanged) {
    const Arguments odd{"two words", "\"quoted\" and 'single'", "$HOME `id` *", "", "a\nb", "caf\u00e9",
                        "-n"};
    EXPECT_EQ(runner.run(shell(R"(printf '<%s>' "$@")", odd)).standardOutput,
              "<two words><\"quoted\" and 'single'><$HOME `id` *><><a\nb><caf\u00e9><-n>");
    EXPECT_THROW(runner.run(shell("true", {std::string("a\0b", 3)})), ProcessError);
}

TEST_F(ProcessRunnerTest, overridesVariablesOfTheInheritedEnvironment) {
    ProcessRequest request = shell("echo $KEPT $REPLACED $ADDED");
    request.environment = {{"REPLACED", "new"}, {"ADDED", "added"}};
    EXPECT_EQ(runner.run(request).standardOutput, "kept new added\n");
    EXPECT_EQ(runner.run(shell("echo $KEPT $REPLACED")).standardOutput, "kept old\n");
}

TEST_F(ProcessRunnerTest, deliversInputWholeAndClosesIt) {
    ProcessRequest request = shell("cat; echo end");
    request.outputLimit = 2 << 20;
    request.input = std::string(1 << 20, 'x'); // more than a pipe holds
    EXPECT_EQ(runner.run(request).standardOutput, *request.input + "end\n");
    request.input = "";
    EXPECT_EQ(runner.run(request).standardOutput, "end\n");
    request.input.reset();
    EXPECT_EQ(runner.run(request).standardOutput, "end\n");
}

TEST_F(ProcessRunnerTest, doesNotMindAToolThatReadsNoInput) {
    ProcessRequest request = shell("exec <&-; echo done");
    request.input = std::string(1 << 20, 'x');
    EXPECT_EQ(runner.run(request).standardOutput, "done\n");
}

TEST_F(ProcessRunnerTest, drainsBothPipesAtOnce) {
    ProcessRequest request = shell("head -c 3000000 /dev/zero >&2 & head -c 3000000 /dev/zero; wait");
    request.outputLimit = 3000000;
    const ProcessResult result = runner.run(request);
    EXPECT_EQ(result.standardOutput.size(), 3000000u);
    EXPECT_EQ(result.standardError.size(), 3000000u);
}

TEST_F(ProcessRunnerTest, limitsTheOutputOfEachStreamAlone) {
    const struct {
        std::string_view name;
        const char* script;
        bool fits;
    } cases[] = {{"exactlyInBoth", "head -c 1000 /dev/zero; head -c 1000 /dev/zero >&2", true},
                 {"oneMoreInOutput", "head -c 1001 /dev/zero", false},
                 {"oneMoreInError", "head -c 1001 /dev/zero >&2", false}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        ProcessRequest request = shell(row.script);
        request.outputLimit = 1000;
        if (row.fits) {
            EXPECT_TRUE(runner.run(request).succeeded());
            continue;
        }
        try {
            runner.run(request);
            ADD_FAILURE() << "the limit did not hold";
        } catch (const ProcessError& error) {
            EXPECT_EQ(error.description(), "Child process output exceeded the limit.");
            EXPECT_EQ(std::get<ProcessError::OutputLimitExceeded>(error.which).limit, 1000u);
        }
    }
}

TEST_F(ProcessRunnerTest, leavesNoChildBehindAfterTooMuchOutput) {
    const TemporaryFolder folder;
    ProcessRequest request = shell("echo $$ > \"$1\"; exec cat /dev/zero", {(folder / "pid").string()});
    EXPECT_THROW(runner.run(request), ProcessError);
    EXPECT_FALSE(test::isAlive(std::stoi(test::awaitText(folder / "pid"))));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left to be reaped";
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(ProcessRunnerTest, saysThatAToolCannotStart) {
    const struct {
        std::string_view name;
        const char* file;
        const char* content;
        int mode;
    } cases[] = {{"missing", "/missing", "", 0755},
                 {"notExecutable", "/present", "#!/bin/sh\n", 0644},
                 {"noProgram", "/present", "neither script nor ELF", 0755},
                 {"missingInterpreter", "/present", "#!/no/such\n", 0755},
                 {"relative", "sh", "", 0755}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder;
        const auto path = folder.write("present", row.content);
        std::filesystem::permissions(path, static_cast<std::filesystem::perms>(row.mode));
        try {
            runner.run(
                {.executable = *row.file == '/' ? folder.path().string() + row.file : std::string(row.file)});
            ADD_FAILURE() << "it started";
        } catch (const ProcessError& error) {
            EXPECT_EQ(error.description(), "Executable is not found or cannot be executed.");
            EXPECT_TRUE(std::holds_alternative<ProcessError::CannotStart>(error.which));
        }
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1);
    }
}

TEST_F(ProcessRunnerTest, givesTheChildNothingButItsThreeStreams) {
    const int leaky = ::open("/dev/null", O_RDONLY); // without close-on-exec
    ASSERT_GE(leaky, 3);
    const std::string list = runner.run(shell("exec ls /proc/self/fd")).standardOutput;
    ::close(leaky);
    EXPECT_EQ(list, "0\n1\n2\n3\n") << "3 is the folder that ls reads";
}

TEST_F(ProcessRunnerTest, leaksNoDescriptorHere) {
    const auto open = [] {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                             std::filesystem::directory_iterator());
    };
    runner.run(shell("true"));
    const auto before = open();
    for (int run = 0; run < 20; ++run) {
        runner.run(shell("cat"));
        EXPECT_THROW(runner.run({.executable = "/no/such/tool"}), ProcessError);
        runner.start(shell("sleep 0.01"))->wait();
    }
    EXPECT_EQ(open(), before);
}

TEST_F(ProcessRunnerTest, startsTheChildWithDefaultSignals) {
    sigset_t blocked;
    sigset_t before;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGTERM);
    sigaddset(&blocked, SIGINT);
    ASSERT_EQ(::pthread_sigmask(SIG_BLOCK, &blocked, &before), 0);
    const auto pipe = std::signal(SIGPIPE, SIG_IGN);
    const std::string status =
        runner.run(shell("awk '/Sig(Blk|Ign)/ { print $2 }' /proc/self/status")).standardOutput;
    std::signal(SIGPIPE, pipe);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    const std::vector<std::string> masks = split(status, '\n');
    ASSERT_EQ(masks.size(), 3u) << status;
    constexpr std::uint64_t standardSignals = 0x7fffffff; // glibc keeps 32 and 33 for itself
    for (const std::size_t mask : {0, 1})
        EXPECT_EQ(std::stoull(masks[mask], nullptr, 16) & standardSignals, 0u) << status;
}

TEST_F(ProcessRunnerTest, learnsHowChildrenEndEvenWhenStartedWithSIGCHLDIgnored) {
    const auto before = std::signal(SIGCHLD, SIG_IGN);
    SystemProcessRunner other(environment, ToolPaths(Environment(), ""));
    EXPECT_EQ(other.run(shell("exit 7")).termination.value, 7);
    std::signal(SIGCHLD, before);
}

TEST_F(ProcessRunnerTest, waitsForAChildThatClosedItsOutput) {
    const ProcessResult result = runner.run(shell("exec >&- 2>&-; sleep 0.2; exit 5"));
    EXPECT_EQ(result.termination.value, 5);
}

TEST_F(ProcessRunnerTest, doesNotWaitForAGrandchildThatKeepsThePipe) {
    const TemporaryFolder folder;
    const ProcessResult result =
        runner.run(shell("(echo started; exec sleep 60) & echo $! > \"$1\"; sleep 0.1; echo done",
                         {(folder / "pid").string()}));
    const pid_t grandchild = std::stoi(test::awaitText(folder / "pid"));
    EXPECT_TRUE(test::isAlive(grandchild));
    ::kill(grandchild, SIGKILL);
    EXPECT_EQ(result.standardOutput, "started\ndone\n");
}

TEST_F(ProcessRunnerTest, ignoresAGrandchildThatNeverStopsWriting) {
    const TemporaryFolder folder;
    ProcessRequest request =
        shell("(trap '' PIPE; exec yes 2>&-) & echo $! > \"$1\"; sleep 0.05", {(folder / "pid").string()});
    request.outputLimit = std::size_t(1) << 31;
    EXPECT_TRUE(runner.run(request).succeeded());
    ::kill(std::stoi(test::awaitText(folder / "pid")), SIGKILL);
}

TEST_F(ProcessRunnerTest, runsManyAtOnce) {
    std::vector<std::jthread> threads;
    std::atomic<int> right = 0;
    for (int thread = 0; thread < 8; ++thread)
        threads.emplace_back([&, thread] {
            for (int run = 0; run < 10; ++run) {
                const std::string word = std::to_string(thread * 100 + run);
                right += runner.run(shell("echo $1", {word})).standardOutput == word + "\n";
            }
        });
    threads.clear();
    EXPECT_EQ(right, 80);
}

TEST(ProcessResult, tellsPeopleWhatTheToolSaid) {
    EXPECT_EQ(ProcessResult{.standardError = "No space left\n\n"}.errorText(), "No space left");
    EXPECT_EQ(ProcessResult{.standardError = " \n"}.errorText(), "Unknown error");
    EXPECT_EQ(ProcessResult{.standardError = "bad \xff byte"}.errorText(), "bad \ufffd byte");
    EXPECT_EQ(ProcessResult{.standardOutput = "said\n"}.outputText(), "said");
}

} // namespace
} // namespace halvo
