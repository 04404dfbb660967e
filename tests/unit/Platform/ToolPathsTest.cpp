#include <Platform/SystemProcessRunner.h>

#include <Support/TemporaryFolder.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::TemporaryFolder;

TEST(ToolPaths, takesWhatTheMachineHasBeforeTheToolbox) {
    const TemporaryFolder folder;
    const ToolPaths tools(Environment(), folder / "toolbox");
    EXPECT_EQ(tools.resolve("/bin/sh"), "/bin/sh");
    EXPECT_EQ(tools.resolve("/usr/bin/no-such-tool"), folder / "toolbox/usr/bin/no-such-tool");
    folder.write("toolbox/usr/bin/no-such-tool", "");
    EXPECT_TRUE(tools.has("/bin/sh"));
    EXPECT_FALSE(tools.has("/usr/bin/no-such-tool")); // a stand-in is not the tool
}

TEST(ToolPaths, letsNothingStandInForAToolRoot) {
    const TemporaryFolder folder;
    const Environment environment(
        {{"HALVO_TOOL_ROOT", (folder / "root").string()}, {"PATH", "relative:/none:/bin"}});
    const ToolPaths tools(environment, folder / "toolbox");
    EXPECT_EQ(tools.resolve("/bin/sh"), folder / "root/bin/sh");
    EXPECT_EQ(tools.resolve("/usr/bin/no-such-tool"), folder / "root/usr/bin/no-such-tool");
    EXPECT_FALSE(tools.has("/bin/sh"));
    EXPECT_EQ(tools.resolve("sh"), "/bin/sh"); // not one of macOS
    EXPECT_EQ(tools.resolve("no-such-tool"), "no-such-tool");
}

TEST(ToolPaths, ignoresAnEmptyToolRoot) {
    const Environment environment(std::map<std::string, std::string>{{"HALVO_TOOL_ROOT", ""}});
    const ToolPaths tools(environment, "");
    EXPECT_EQ(tools.resolve("/bin/sh"), "/bin/sh");
    EXPECT_EQ(tools.resolve("/usr/bin/no-such-tool"), "/usr/bin/no-such-tool");
}

} // namespace
} // namespace halvo
