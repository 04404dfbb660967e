#include <HalvoNotarization/XcodeArchiveService.h>

#include <Base/Text.h>
#include <Support/RecordingLog.h>
#include <Support/ScriptedTools.h>
#include <Support/Shell.h>
#include <Support/Thrown.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::descriptionThrown;
using test::ScriptedTools;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::StartsWith;

const std::string info =
    R"({"write": ["{archive}/Info.plist", "<plist><dict><key>ApplicationProperties</key><dict>)"
    R"(<key>ApplicationPath</key><string>Applications/Demo.app</string></dict></dict></plist>"]})";
const std::string app = R"({"write": ["{archive}/Products/Applications/Demo.app/x", "x"]})";
const std::string success = R"({"out": "** ARCHIVE SUCCEEDED **\n"})";
const std::string grandchild = R"({"spawn": 300})";
const std::string hang = R"({"hang": true})";

std::string steps(const std::vector<std::string>& list) { return "[" + joined(list, ",") + "]"; }

/// A limit twenty times as short as where people build: a poll of ten seconds takes half a second, and all
/// stay far above the time that a script needs to start.
std::chrono::milliseconds scaled(int seconds) { return std::chrono::milliseconds(50 * seconds); }

class ArchiveWatchdogTest : public testing::Test {
protected:
    void use(int stall, int idleGrace) {
        limits = {.stall = scaled(stall),
                  .idleGrace = scaled(idleGrace),
                  .hangAfterSuccess = scaled(15),
                  .poll = scaled(10),
                  .confirmingPoll = scaled(3)};
    }

    std::filesystem::path archive(std::stop_token cancellation = {}) {
        XcodeArchiveService service({tools.runner(), tools.environment(), log, limits},
                                    tools.temporaryDirectory(), std::move(cancellation));
        return service.archive(tools.write("Demo.xcodeproj/project.pbxproj", "").parent_path(),
                               ProjectType::project, "Demo", {}, {}, onLine);
    }

    void expectNothingSurvives() {
        EXPECT_THAT(tools.processNumbers(), testing::Not(IsEmpty()));
        for (const pid_t process : tools.processNumbers())
            EXPECT_TRUE(test::vanishes(process)) << process;
    }

    ScriptedTools tools;
    XcodeArchiveService::Limits limits;
    test::RecordingLog log;
    std::vector<std::string> lines;
    XcodeArchiveService::OutputLine onLine = [this](const std::string& line) { lines.push_back(line); };
};

TEST_F(ArchiveWatchdogTest, goesOnWithAWholeArchiveOfAHungRun) {
    use(600, 300);
    tools.script("xcodebuild archive", {steps({info, app, grandchild, success, hang})});
    const auto path = archive();
    EXPECT_TRUE(std::filesystem::exists(path / "Products/Applications/Demo.app/x"));
    const std::string text =
        "halvo: xcodebuild did not exit after ARCHIVE SUCCEEDED and was killed; continuing with the completed archive.";
    EXPECT_THAT(lines, ElementsAre("** ARCHIVE SUCCEEDED **", text));
    EXPECT_THAT(log.messages, ElementsAre(text));
    EXPECT_THAT(tools.argumentsOf("xcodebuild archive"), SizeIs(1));
    expectNothingSurvives();
}

TEST_F(ArchiveWatchdogTest, countsFromTheFirstReportOfSuccess) {
    use(600, 300);
    std::vector<std::string> repeating{info, app};
    for (int report = 0; report < 20; ++report) {
        repeating.push_back(success);
        repeating.push_back(R"({"sleep": 0.15})"); // three seconds of this clock, a minute in all
    }
    tools.script("xcodebuild archive", {steps(repeating)});
    archive();
    EXPECT_THAT(lines.back(), StartsWith("halvo: xcodebuild did not exit after ARCHIVE SUCCEEDED"));
    EXPECT_LT(lines.size(), 20u);
}

TEST_F(ArchiveWatchdogTest, repeatsAHungRunWithAPartialArchive) {
    use(600, 300);
    tools.script("xcodebuild archive",
                 {steps({info, grandchild, success, hang}), steps({info, app, success})});
    const auto path = archive();
    EXPECT_THAT(
        lines,
        ElementsAre(
            "** ARCHIVE SUCCEEDED **",
            "halvo: xcodebuild reported ARCHIVE SUCCEEDED but the archive was incomplete after the hung process was killed (attempt 1 of 3).",
            "** ARCHIVE SUCCEEDED **"));
    const auto calls = tools.argumentsOf("xcodebuild archive");
    ASSERT_THAT(calls, SizeIs(2));
    EXPECT_NE(calls[0][5], calls[1][5]) << "each attempt has a path of its own";
    EXPECT_EQ(calls[1][5], path.string());
    EXPECT_THAT(tools.leftovers(), ElementsAre(path.filename())) << "the partial archive is removed";
    expectNothingSurvives();
}

TEST_F(ArchiveWatchdogTest, givesUpAfterThreeStalledRuns) {
    use(20, 600);
    tools.script("xcodebuild archive", {steps({grandchild, R"({"ignore": 15})", info, hang})});
    const auto text = [](int number) {
        return "xcodebuild produced no output for 1 second and was killed before the archive completed (attempt " +
               std::to_string(number) + " of 3).";
    };
    EXPECT_EQ(
        descriptionThrown<XcodeArchiveError>([&] { archive(); }),
        "Archive failed: " + text(3) +
            " Raise HALVO_ARCHIVE_STALL_TIMEOUT if the build legitimately goes quiet for long stretches.");
    EXPECT_THAT(lines, ElementsAre("halvo: " + text(1), "halvo: " + text(2), "halvo: " + text(3)));
    EXPECT_EQ(log.messages, lines);
    EXPECT_THAT(tools.leftovers(), IsEmpty());
    expectNothingSurvives();
}

TEST_F(ArchiveWatchdogTest, leavesASilentRunAloneWhoseArchiveIsNotWhole) {
    use(100000, 1);
    tools.script("xcodebuild archive", {steps({info, R"({"sleep": 2})", R"({"out": "end\n"})"})});
    archive();
    EXPECT_THAT(lines, ElementsAre("end"));
}

TEST_F(ArchiveWatchdogTest, endsASilentRunSoonOnceItsArchiveIsWholeAndStill) {
    use(100000, 20);
    tools.script("xcodebuild archive",
                 {steps({info, app, R"({"out": "Touch Demo.app\n"})", grandchild, hang})});
    const auto start = std::chrono::steady_clock::now();
    archive();
    EXPECT_LT(std::chrono::steady_clock::now() - start, scaled(200));
    EXPECT_EQ(
        lines.back(),
        "halvo: xcodebuild went silent after completing the archive; continuing with the completed archive.");
    expectNothingSurvives();
}

TEST_F(ArchiveWatchdogTest, leavesASilentRunAloneWhileItsArchiveChanges) {
    use(100000, 1);
    std::vector<std::string> busy{info, app, R"({"out": "begin\n"})"};
    for (int file = 0; file < 30; ++file) {
        busy.push_back(R"({"write": ["{archive}/dSYMs/)" + std::to_string(file) + R"(", ""]})");
        busy.push_back(R"({"sleep": 0.05})"); // one second of this clock
    }
    busy.push_back(R"({"out": "end\n"})");
    tools.script("xcodebuild archive", {steps(busy)});
    archive();
    EXPECT_THAT(lines, ElementsAre("begin", "end"));
}

TEST_F(ArchiveWatchdogTest, outputKeepsARunAlive) {
    use(20, 600);
    std::vector<std::string> chatty;
    for (int line = 0; line < 6; ++line) {
        chatty.push_back(R"({"err": "compiling\n"})");
        chatty.push_back(R"({"sleep": 0.4})"); // eight seconds of this clock, 48 in all
    }
    tools.script("xcodebuild archive", {steps(chatty)});
    archive();
    EXPECT_THAT(lines, SizeIs(6));
}

TEST_F(ArchiveWatchdogTest, endsTheGroupWhenCancelled) {
    use(600, 600);
    tools.script("xcodebuild archive", {steps({info, grandchild, R"({"out": "ready\n"})", hang})});
    std::stop_source source;
    onLine = [&](const std::string&) { source.request_stop(); };
    EXPECT_THROW(archive(source.get_token()), CancelledError);
    expectNothingSurvives();
    EXPECT_THAT(tools.leftovers(), IsEmpty());
}

TEST_F(ArchiveWatchdogTest, endsTheGroupWhenTheCallerFails) {
    use(600, 600);
    tools.script("xcodebuild archive", {steps({grandchild, R"({"out": "line\n"})", hang})});
    onLine = [](const std::string&) { throw Failure("the terminal is gone"); };
    EXPECT_THROW(archive(), Failure);
    expectNothingSurvives();
}

} // namespace
} // namespace halvo
