#include <Platform/SystemProcessRunner.h>

#include <Base/Text.h>
#include <Support/ChildProcess.h>
#include <Support/Shell.h>
#include <Support/TemporaryFolder.h>
#include <Support/Thrown.h>

#include <array>
#include <thread>

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
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
    request.input.reset();
    EXPECT_EQ(runner.run(request).standardOutput, "end\n");
}

TEST_F(ProcessRunnerTest, drainsBothPipesAtOnce) {
    ProcessRequest request = shell("head -c 3000000 /dev/zero >&2 & head -c 3000000 /dev/zero; wait");
    request.outputLimit = 3000000;
    const ProcessResult result = runner.run(request);
    EXPECT_EQ(result.standardOutput.size(), 3000000u);
    EXPECT_EQ(result.standardError.size(), 3000000u);
}

TEST_F(ProcessRunnerTest, limitsTheOutputOfEachStreamAlone) {
    ProcessRequest request = shell("head -c $1 /dev/zero; head -c $2 /dev/zero >&2");
    request.outputLimit = 1000;
    const auto runWith = [&](const char* output, const char* error) {
        ProcessRequest sized = request;
        sized.arguments.insert(sized.arguments.end(), {output, error});
        return runner.run(sized);
    };
    EXPECT_TRUE(runWith("1000", "1000").succeeded());
    const std::string exceeded = "Child process output exceeded the limit.";
    EXPECT_EQ(test::descriptionThrown<ProcessError>([&] { runWith("1001", "0"); }), exceeded);
    EXPECT_EQ(test::descriptionThrown<ProcessError>([&] { runWith("0", "1001"); }), exceeded);
}

TEST_F(ProcessRunnerTest, endsWhatTakesTooLongHoweverMuchItSays) {
    for (const char* script : {"exec sleep 60", "while :; do echo busy; done"}) {
        ProcessRequest request = shell(script);
        request.timeLimit = std::chrono::milliseconds(100);
        request.outputLimit = std::size_t(1) << 30;
        EXPECT_EQ(test::descriptionThrown<ProcessError>([&] { runner.run(request); }),
                  "Child process did not exit in time and was killed.");
        EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "a child is left to be reaped";
    }
}

TEST_F(ProcessRunnerTest, saysThatAToolCannotStart) {
    const struct {
        std::string_view name;
        const char* content;
        int mode;
    } cases[] = {{"notExecutable", "#!/bin/sh\n", 0644},
                 {"noProgram", "neither script nor ELF", 0755},
                 {"missingInterpreter", "#!/no/such\n", 0755}};
    const TemporaryFolder folder;
    std::vector<std::string> programs{"/no/such/tool", "no-such-tool-on-the-path"};
    for (const auto& row : cases) {
        programs.push_back(folder.write(row.name, row.content));
        std::filesystem::permissions(programs.back(), static_cast<std::filesystem::perms>(row.mode));
    }
    for (const std::string& program : programs) {
        EXPECT_EQ(test::descriptionThrown<ProcessError>([&] { runner.run({.executable = program}); }),
                  "Executable is not found or cannot be executed.")
            << program;
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

TEST(ProcessResult, tellsPeopleWhatTheToolSaid) {
    const struct {
        std::string output;
        std::string error;
        std::string text;
    } cases[] = {{"progress", "Error: no space left\n\n", "Error: no space left"},
                 {"", "bad \xff byte", "bad \ufffd byte"},
                 {"The cause\n", " \n", "The cause"},
                 {"The cause\n", "2026-11-23 warning: slow\n", "2026-11-23 warning: slow\nThe cause"},
                 {"1\n2\n3\n4\n5\n6\n7\n8\n9\n10\n11\n12\n13\n14\n15\n16\n17\n18\n19\n20\n21\n", "",
                  "2\n3\n4\n5\n6\n7\n8\n9\n10\n11\n12\n13\n14\n15\n16\n17\n18\n19\n20\n21"},
                 {"", "", "Unknown error"}};
    for (const auto& row : cases)
        EXPECT_EQ((ProcessResult{.standardOutput = row.output, .standardError = row.error}).errorText(),
                  row.text);
}

/// As on a kernel before 5.3, which has neither call.
void forbidNewSystemCalls() {
    const auto refuse = [](auto number) -> std::array<sock_filter, 2> {
        return {{BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, static_cast<std::uint32_t>(number), 0, 1),
                 BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS)}};
    };
    const auto pidfd = refuse(SYS_pidfd_open);
    const auto range = refuse(SYS_close_range);
    std::array<sock_filter, 6> filter{{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                                       pidfd[0], pidfd[1], range[0], range[1],
                                       BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)}};
    const sock_fprog program{.len = filter.size(), .filter = filter.data()};
    ASSERT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
    ASSERT_EQ(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program), 0);
}

TEST_F(ProcessRunnerTest, worksOnAnOldKernel) {
    test::ChildProcess child([this] {
        forbidNewSystemCalls();
        const int leaky = ::open("/dev/null", O_RDONLY);
        const ProcessResult result = runner.run(shell("sleep 0.05; ls /proc/self/fd; exit 7"));
        ::close(leaky);
        ProcessRequest slow = shell("exec sleep 60");
        slow.timeLimit = std::chrono::milliseconds(50);
        EXPECT_THROW(runner.run(slow), ProcessError);
        EXPECT_EQ(result.standardOutput, "0\n1\n2\n3\n");
        return testing::Test::HasFailure() ? 1 : result.termination.value;
    });
    EXPECT_EQ(child.wait(), 7);
}

} // namespace
} // namespace halvo
