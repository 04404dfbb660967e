#include <Platform/Workspace.h>

#include <Support/TemporaryFolder.h>

#include <chrono>
#include <csignal>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

class SystemWorkspaceTest : public testing::Test {
protected:
    /// Puts an xdg-open into a folder of PATH.
    void install(std::string_view script, fs::perms mode = fs::perms::owner_all) {
        fs::permissions(folder.write("bin/xdg-open", script), mode);
    }
    /// What the script wrote to the file `report`, renamed into place by it.
    std::string report() const {
        for (int attempt = 0; attempt < 1000 && !fs::exists(folder / "report"); ++attempt)
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        return test::readText(folder / "report");
    }

    test::TemporaryFolder folder;
    Environment environment{
        {{"PATH", "relative:/nonexistent:" + (folder / "bin").string() + ":/usr/bin:/bin"},
         {"OUT", folder.path().string()}}};
    SystemWorkspace workspace{environment};
};

TEST_F(SystemWorkspaceTest, handsTheURLOverWithoutAShellOrOurStreams) {
    install(
        "#!/bin/sh\n"
        "{ echo \"$#\" \"$1\"; readlink /proc/$$/fd/0 /proc/$$/fd/1 /proc/$$/fd/2; ls /proc/self/fd; "
        "echo \"SIGPIPE ignored: $((0x$(sed -n 's/^SigIgn:.//p' /proc/self/status) >> 12 & 1))\"; } >$OUT/begun\n"
        "mv $OUT/begun $OUT/report\n");
    const int leaky = ::open("/dev/null", O_RDONLY); // without close-on-exec
    const auto pipe = std::signal(SIGPIPE, SIG_IGN);
    EXPECT_TRUE(workspace.open("https://halvo.example/a b;$(id)?q='1'&r=\"2\""));
    // The redirection of the block stands in for the stream 1 while it runs.
    EXPECT_EQ(report(), "1 https://halvo.example/a b;$(id)?q='1'&r=\"2\"\n/dev/null\n" +
                            (folder / "begun").string() + "\n/dev/null\n0\n1\n2\n3\nSIGPIPE ignored: 0\n");
    ::close(leaky);
    std::signal(SIGPIPE, pipe);
}

TEST_F(SystemWorkspaceTest, doesNotWaitAndLeavesNoChild) {
    install("#!/bin/sh\n"
            "while [ ! -e $OUT/go ]; do sleep 0.01; done\n"
            "echo \"$(ps -o ppid= -p $$)\" >$OUT/begun; mv $OUT/begun $OUT/report\n");
    EXPECT_TRUE(workspace.open("https://halvo.example"));
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "the opener is still our child";
    folder.write("go", "");
    EXPECT_NE(std::stol(report()), ::getpid());
}

TEST_F(SystemWorkspaceTest, saysWhenNothingCouldBeStarted) {
    environment = Environment({{"PATH", (folder / "bin").string()}});
    EXPECT_FALSE(workspace.open("https://halvo.example")) << "no program";
    install("#!/bin/sh\n", fs::perms::owner_read);
    EXPECT_FALSE(workspace.open("https://halvo.example")) << "not executable";
    install("#!/nonexistent/interpreter\n");
    EXPECT_FALSE(workspace.open("https://halvo.example")) << "cannot be executed";
    install("#!/bin/sh\n");
    EXPECT_FALSE(workspace.open("--help")) << "an option";
    EXPECT_FALSE(workspace.open(""));
    environment = Environment();
    EXPECT_FALSE(workspace.open("https://halvo.example")) << "no PATH";
}

} // namespace
} // namespace halvo
