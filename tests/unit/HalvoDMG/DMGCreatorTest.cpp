#include <HalvoDMG/DMGCreator.h>

#include "ImageToolsFake.h"

#include <Platform/Files.h>
#include <Support/CaseName.h>

#include <algorithm>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using test::failed;
using test::ImageToolsFake;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* hdiutil = "/usr/bin/hdiutil";

TEST(DMGCreator, runsTheToolsInOrderAndLeavesTheImageAlone) {
    ImageToolsFake tools;
    EXPECT_EQ(tools.create().filePath(), tools.output);
    const std::string staging = tools.commands.front().back();
    const std::string image = tools.commands[1].back();
    const std::string volume = tools.volume.string();
    EXPECT_THAT(staging, testing::StartsWith((tools.temporary / "dmg-staging-").string()));
    EXPECT_THAT(image, testing::MatchesRegex((tools.temporary / "rw-[-0-9A-F]+\\.dmg").string()));
    EXPECT_THAT(tools.commands, ElementsAre(Arguments{"/bin/chmod", "-Rf", "go-w", staging},
                                            Arguments{hdiutil, "create", "-srcfolder", staging, "-volname",
                                                      "My App", "-fs", "APFS", "-format", "UDRW", image},
                                            Arguments{hdiutil, "resize", "-limits", image},
                                            Arguments{hdiutil, "resize", "-size", "216m", image},
                                            Arguments{hdiutil, "attach", image, "-mountrandom", "/Volumes",
                                                      "-readwrite", "-noverify", "-noautoopen", "-nobrowse"},
                                            Arguments{"/usr/bin/SetFile", "-a", "C", volume},
                                            Arguments{hdiutil, "detach", volume, "-force"},
                                            Arguments{hdiutil, "convert", image, "-format", "ULMO", "-o",
                                                      tools.output.string()}));
    EXPECT_EQ(test::readText(tools.output), "finished");
    EXPECT_THAT(tools.leftovers(), IsEmpty());

    EXPECT_EQ(fs::read_symlink(tools.volume / "Applications"), "/Applications");
    EXPECT_EQ(fs::read_symlink(tools.volume / "My App.app/Contents/Link"), "MacOS/Demo");
    EXPECT_EQ(test::readText(tools.volume / ".background/background.png"), "picture");
    EXPECT_TRUE(fs::exists(tools.volume / ".DS_Store"));
    EXPECT_EQ(test::readText(tools.volume / ".VolumeIcon.icns"), "icon");
    EXPECT_FALSE(fs::exists(tools.volume / ".fseventsd"));
}

TEST(DMGCreator, writesBesideTheAppUnderTheNameThatWasAskedFor) {
    ImageToolsFake tools;
    tools.configuration = {.volumeName = "Other"};
    tools.app += "/";
    const URL made = tools.create(std::nullopt);
    EXPECT_EQ(made.filePath(), tools.folder / "My App.dmg");
    EXPECT_TRUE(fs::exists(made.filePath()));
    EXPECT_EQ(tools.commands[1][5], "Other");
    for (const Arguments& command : tools.commands)
        EXPECT_NE(command[0], "/usr/bin/SetFile");
}

TEST(DMGCreator, refusesBeforeAnythingIsStaged) {
    ImageToolsFake tools;
    const auto failure = [&](const fs::path& app) {
        tools.app = app;
        return tools.failure();
    };
    EXPECT_EQ(failure(tools.folder / "Gone.app"), "No application bundle found at " +
                                                      (tools.folder / "Gone.app").string() +
                                                      ". Pass the path of an .app bundle.");
    EXPECT_EQ(failure(tools.folder.write("text.txt", "")),
              "Invalid application bundle: Expected .app bundle, got .txt");
    fs::create_symlink("nowhere", tools.output);
    EXPECT_EQ(failure(tools.folder / "My App.app"), "Output file already exists at " + tools.output.string());
    EXPECT_THAT(tools.commands, IsEmpty());
    EXPECT_THAT(tools.leftovers(), IsEmpty());
}

/// One command that goes wrong, and what was mounted by then.
struct FaultRow {
    const char* name;
    const char* tool;
    const char* verb; ///< its first argument
    bool mounted;
};
class CreationFault : public testing::TestWithParam<FaultRow> {};

TEST_P(CreationFault, leavesNothingBehind) {
    const auto& [name, tool, verb, mounted] = GetParam();
    const std::pair<const char*, test::FakeAnswer> faults[] = {
        {"broken", [](const ProcessRequest&) { return failed("broken"); }},
        {"macOS denied permission", [](const ProcessRequest&) { return failed("Operation not permitted"); }},
        {"cancelled", [](const ProcessRequest&) -> ProcessResult { throw CancelledError(); }},
        {"not found", [](const ProcessRequest&) -> ProcessResult {
             throw ProcessError(ProcessError::CannotStart{"tool"});
         }}};
    for (const auto& [text, fault] : faults) {
        SCOPED_TRACE(text);
        ImageToolsFake tools;
        tools.failAt(tool, verb, fault);
        try {
            tools.create();
            ADD_FAILURE() << "it was made";
        } catch (const Failure& failure) {
            EXPECT_THAT(failure.description(), testing::HasSubstr(text));
        } catch (const CancelledError&) {
            EXPECT_STREQ(text, "cancelled");
        }
        EXPECT_THAT(tools.leftovers(), IsEmpty());
        EXPECT_FALSE(fs::exists(tools.output));
        if (mounted) {
            EXPECT_EQ(tools.commands.back(), (Arguments{hdiutil, "detach", tools.volume.string(), "-force"}));
        }
    }
}
INSTANTIATE_TEST_SUITE_P(DMGCreator, CreationFault,
                         testing::Values(FaultRow{"chmod", "/bin/chmod", "-Rf", false},
                                         FaultRow{"create", hdiutil, "create", false},
                                         FaultRow{"resize", hdiutil, "resize", false},
                                         FaultRow{"attach", hdiutil, "attach", false},
                                         FaultRow{"icon", "/usr/bin/SetFile", "-a", true},
                                         FaultRow{"detach", hdiutil, "detach", true},
                                         FaultRow{"convert", hdiutil, "convert", false}),
                         test::CaseName());

TEST(DMGCreator, tellsWhichCommandFailedAndWhatItSaid) {
    ImageToolsFake tools;
    tools.failAt(hdiutil, "convert", [](const ProcessRequest&) { return failed("disk full"); });
    const std::string text = tools.failure();
    EXPECT_EQ(text, "hdiutil convert " + tools.commands[1].back() + " -format ULMO -o " +
                        tools.output.string() + " failed (exit code 1): disk full");
    ImageToolsFake silent;
    silent.failAt(hdiutil, "attach", [](const ProcessRequest&) { return failed(""); });
    EXPECT_EQ(silent.failure(), "Failed to mount DMG: No output");
}

TEST(DMGCreator, sizesTheImageByWhatItNeedsAtLeast) {
    for (const auto& [limits, size] : {std::pair("400000 500000 600000", "216m"),
                                       {"\n\t400000\n", "216m"},
                                       {"no limits", "200m"},
                                       {"", "200m"},
                                       {"409600", "221m"},
                                       {"400000x", "200m"},
                                       {"99999999999999999999", "200m"}}) {
        ImageToolsFake tools;
        tools.limits = limits;
        tools.create();
        EXPECT_EQ(tools.commands[3][3], size) << limits;
    }
}

TEST(DMGCreator, findsTheMountPointInWhatAttachPrints) {
    for (const char* answer : {"/dev/disk5          \tGUID_partition_scheme          \t\n"
                               "/dev/disk5s1        \tApple_APFS                     \t\n"
                               "/dev/disk6s1        \t41504653-0000-11AA-AA11-0030654\t{}\n",
                               "Licence\n/Volumes are mentioned\n/dev/disk9\t{}\n", "/dev/disk9s1 {}"}) {
        ImageToolsFake tools;
        tools.attachAnswer = answer;
        EXPECT_NO_THROW(tools.create()) << answer;
        EXPECT_TRUE(fs::exists(tools.volume / ".DS_Store"));
    }
    ImageToolsFake unmounted;
    unmounted.attachAnswer = "/dev/disk5\tGUID_partition_scheme\t\n/dev/disk5s1\tApple_APFS\n";
    unmounted.failAt(hdiutil, "detach", [](const ProcessRequest&) { return failed("no such disk"); });
    EXPECT_EQ(unmounted.failure(), "Failed to mount DMG: Could not parse mount point from hdiutil output");
    EXPECT_EQ(unmounted.commands.back(), (Arguments{hdiutil, "detach", "/dev/disk5", "-force"}));
}

TEST(DMGCreator, triesABusyDiskAgainAfterGrowingPauses) {
    const auto busyRuns = [](int count) {
        return [count](const ProcessRequest&) mutable -> std::optional<ProcessResult> {
            if (count-- == 0)
                return std::nullopt;
            return failed("hdiutil: convert failed - Resource busy");
        };
    };
    ImageToolsFake tools; // which writes no file over one that a failed run left
    tools.failAt(hdiutil, "convert", busyRuns(5));
    tools.create();
    EXPECT_EQ(tools.clock.sleeps().size(), 5);
    EXPECT_TRUE(std::ranges::is_sorted(tools.clock.sleeps(), std::less_equal()));

    ImageToolsFake always;
    always.failAt(hdiutil, "convert", busyRuns(6));
    EXPECT_THAT(always.failure(),
                testing::EndsWith(" failed (exit code 1): hdiutil: convert failed - Resource busy"));
    EXPECT_EQ(always.clock.sleeps().size(), 5);
    EXPECT_EQ(std::ranges::count(always.commands, always.commands.back()), 6);
}

TEST(DMGCreator, aPauseEndsWithTheRun) {
    ImageToolsFake tools;
    tools.failAt(hdiutil, "attach", [&](const ProcessRequest&) {
        tools.cancellation.request_stop();
        return failed("Resource busy");
    });
    EXPECT_THROW(tools.create(), CancelledError);
    EXPECT_EQ(tools.clock.sleeps().size(), 1);
    EXPECT_THAT(tools.leftovers(), IsEmpty());
}

TEST(DMGCreator, aVolumeIsDetachedAlthoughTheRunWasCancelled) {
    ImageToolsFake tools;
    tools.failAt("/usr/bin/SetFile", "-a", [&](const ProcessRequest&) -> ProcessResult {
        tools.cancellation.request_stop();
        throw CancelledError();
    });
    EXPECT_THROW(tools.create(), CancelledError);
    EXPECT_EQ(tools.commands.back()[1], "detach");
    EXPECT_FALSE(tools.requests.back().cancellation.stop_possible());
    EXPECT_TRUE(tools.requests.back().ownGroup);
}

} // namespace
} // namespace halvo
