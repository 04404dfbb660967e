#include "Commands/AppsCommands.h"
#include "Commands/Releases/ReleaseTable.h"

#include <Base/Text.h>
#include <Base/Unicode.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

TerminalDescription terminalOf(std::size_t width) {
    TerminalDescription terminal;
    terminal.interactive = true;
    terminal.width = width;
    return terminal;
}

std::vector<std::string> linesOf(const Table& table, const TerminalDescription& terminal) {
    auto lines = split(renderTable(table, Theme(), terminal), '\n');
    lines.pop_back(); // behind the last line break
    return lines;
}

Release makeRelease(const std::string& version, const std::string& channel) {
    return {.id = UUID::random(),
            .bundleVersion = 20261122093000,
            .bundleVersionString = version,
            .channel = channel,
            .isPhasedRollout = true,
            .isCritical = true,
            .isPublished = true,
            .createdAt = parseISO8601("2026-11-22T09:30:00Z")};
}

TEST(ManagementTables, fitTheTerminalAndKeepWhatIsCopied) {
    const App app{
        LocalApp{.bundleIdentifier = "com.example.app0", .name = "\u6771\u4eac " + std::string(60, 'n')}};
    const Release release = makeRelease("1.0", "a-channel-with-a-long-name");
    const auto apps = linesOf(appTable({app}), terminalOf(80));
    const auto releases = linesOf(releaseTable({release}), terminalOf(80));
    for (const auto& lines : {apps, releases})
        for (const std::string& line : lines)
            EXPECT_LE(displayWidth(line), 80U) << line;
    EXPECT_THAT(apps.at(2),
                AllOf(HasSubstr("\u2026"), HasSubstr(" com.example.app0 "))); // below headers and a rule
    // What tells releases apart is never cut.
    EXPECT_THAT(releases.at(2), AllOf(EndsWith(release.id.string()), Not(HasSubstr("\u2026"))));
}

TEST(ManagementTables, areWholeAndPlainInAPipe) {
    const std::string name(120, 'n');
    const auto apps = linesOf(appTable({{ServerApp{.name = name, .bundleIdentifier = "com.example.z"}},
                                        {LocalApp{.bundleIdentifier = "com.example.a", .name = "Alpha"}}}),
                              {});
    ASSERT_EQ(apps.size(), 3U); // no rule
    EXPECT_THAT(apps[0], AllOf(StartsWith("Name "), HasSubstr(" Bundle ID "), EndsWith(" Hosting")));
    EXPECT_THAT(apps[1], AllOf(StartsWith("Alpha "), EndsWith("  com.example.a  S3")));
    EXPECT_EQ(apps[2], name + "  com.example.z  Halvo");

    const Release release = makeRelease("1.2", "nightly");
    EXPECT_EQ(linesOf(releaseTable({release}), {})[1],
              "1.2 (20261122093000)  Published, nightly, Phased, Critical  2026-11-22  " +
                  release.id.string());
    EXPECT_EQ(releaseStatus({}), "Draft");
}

} // namespace
} // namespace halvo
