#include "ReleaseFixture.h"

#include <Support/CaseName.h>
#include <Support/FaultServer.h>
#include <Support/Shell.h>
#include <Support/TestData.h>

#include <csignal>
#include <thread>

namespace halvo::test {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

struct InterruptionCase {
    const char* name;
    int signal;
    int status;
    bool json;
    std::size_t answered = 0; ///< requests before the one that is interrupted
};

class Interruption : public ReleaseTest, public testing::WithParamInterface<InterruptionCase> {};

/// Waits until the upload has reached a server that never answers.
void awaitRequest(const FaultServer& server, std::size_t count) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (server.requests().size() < count && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    ASSERT_EQ(server.requests().size(), count);
}

TEST_P(Interruption, endsAnUploadAndRemovesWhatWasPrepared) {
    const auto& [name, signal, status, json, answered] = GetParam();
    // The archive and its copy are taken; there is no feed yet.
    std::vector<ServerReply> replies{
        {.status = 200}, {.status = 200}, {.status = 404, .body = "<Error><Code>NoSuchKey</Code></Error>"}};
    replies.resize(answered);
    replies.push_back({.behaviour = ServerReply::Behaviour::silence});
    const FaultServer server(replies);
    AppBundle().writeTo(work);
    Arguments arguments = releaseArguments({"Demo.app", "--skip-notarization"});
    if (json)
        arguments.insert(arguments.end(), {"--format", "json"});
    const auto process = start(arguments, changed({{"HALVO_S3_ENDPOINT", server.url("")}}));
    awaitRequest(server, answered + 1);
    EXPECT_THAT(temporaryFiles(), testing::Not(IsEmpty()));
    EXPECT_TRUE(process->signalGroup(signal));

    const Outcome ended = finish(*process);
    EXPECT_EQ(ended.status, status);
    const std::string message = "The release was cancelled.";
    if (json) {
        EXPECT_EQ(ended.output, nlohmann::json({{"code", "cancelled"}, {"message", message}}).dump() + "\n");
        EXPECT_THAT(ended.error, EndsWith("\nError: " + message + "\n"));
    } else
        EXPECT_THAT(ended.output, EndsWith("\n" + message + "\n"));
    EXPECT_EQ(server.requests().size(), answered + 1); // nothing more was sent
    EXPECT_TRUE(std::filesystem::exists(work / "Demo.app/Contents/Info.plist"));
}

INSTANTIATE_TEST_SUITE_P(Release, Interruption,
                         testing::Values(InterruptionCase{"interruptInText", SIGINT, 130, false},
                                         InterruptionCase{"interruptInJSON", SIGINT, 130, true},
                                         InterruptionCase{"terminateInText", SIGTERM, 143, false},
                                         InterruptionCase{"terminateInJSON", SIGTERM, 143, true},
                                         InterruptionCase{"whileTheLatestCopyIsMade", SIGINT, 130, true, 1},
                                         InterruptionCase{"whileTheFeedIsRead", SIGINT, 130, true, 2},
                                         InterruptionCase{"whileTheFeedIsWritten", SIGINT, 130, true, 3}),
                         CaseName());

const std::string identity = "Developer ID Application: Jane Doe (ABCDE12345)";

struct StepCase {
    const char* name;
    Arguments arguments;
    std::string tool; ///< what runs when the signal comes; empty while an archive or an image is written
};

/// Releases to a real bucket that are interrupted at a step of theirs.
class InterruptedStep : public ReleaseTest, public testing::WithParamInterface<StepCase> {
protected:
    InterruptedStep() {
        AppBundle().writeTo(work);
        std::filesystem::create_directories(work / "Demo.xcodeproj");
        useTools(tools);
        useStore();
        variables.insert(
            {{"ASC_API_KEY_ID", "KEY1"}, {"ASC_API_ISSUER", "issuer-1"}, {"ASC_API_KEY", "cDgga2V5"}});
        secrets.emplace_back("p8 key");
        tools.script("codesign -dvv", {"[]"}); // no Developer ID signed it yet
        if (GetParam().arguments.front() == "Mine.dmg")
            folder.write("work/Mine.dmg", "read by nobody");
    }

    /// An app that takes a while to pack.
    void enlargeApp() {
        script("head -c 100000000 /dev/urandom | base64 >Demo.app/Contents/Resources/noise");
    }

    /// The tool starts a child of its own and hangs.
    void delayTool() {
        if (GetParam().tool != "7zz")
            return tools.script(GetParam().tool, {R"([{"spawn": 60}, {"hang": true}])"});
        const auto program =
            folder.write("bin/7zz", "#!/bin/sh\necho $$ >>\"$SCRIPTED_TOOLS/pids\"\nexec sleep 60\n");
        std::filesystem::permissions(program, std::filesystem::perms(0755));
        variables["PATH"] = program.parent_path().string() + ":/usr/bin:/bin";
    }

    bool isReached() const {
        const std::string& tool = GetParam().tool;
        if (tool == "7zz")
            return std::filesystem::exists(tools / "pids");
        if (!tool.empty())
            return !tools.argumentsOf(tool).empty();
        const auto files = temporaryFiles(); // an image has no name yet in its folder
        return std::ranges::any_of(files,
                                   [](const auto& file) { return file.filename().string().size() == 36; });
    }

    ScriptedTools tools;
};

TEST_P(InterruptedStep, leavesNothingBehind) {
    if (GetParam().tool.empty())
        enlargeApp();
    else
        delayTool();
    Arguments arguments = GetParam().arguments;
    arguments.insert(arguments.end(), {"--format", "json"});
    const auto process = start(releaseArguments(arguments), variables);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!isReached() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_TRUE(process->signalGroup(SIGINT));

    const Outcome ended = finish(*process);
    EXPECT_EQ(ended.status, 130) << ended.error;
    EXPECT_EQ(ended.output,
              nlohmann::json({{"code", "cancelled"}, {"message", "The release was cancelled."}}).dump() +
                  "\n");
    for (const pid_t number : tools.processNumbers())
        EXPECT_TRUE(vanishes(number));
    EXPECT_EQ(object("appcast.xml"), std::nullopt);
    EXPECT_TRUE(std::filesystem::exists(work / "Demo.app/Contents/Info.plist"));
}

const Arguments project{"Demo.xcodeproj", "--scheme", "Demo", "--codesign-identity", identity};
const Arguments app{"Demo.app", "--codesign-identity", identity};

INSTANTIATE_TEST_SUITE_P(Release, InterruptedStep,
                         testing::Values(StepCase{"importing", {"Mine.dmg"}, "7zz"},
                                         StepCase{"archiving", project, "xcodebuild archive"},
                                         StepCase{"exporting", project, "xcodebuild -exportArchive"},
                                         StepCase{"codeSigning", app, "codesign --sign"},
                                         StepCase{"writingImage", app, ""},
                                         StepCase{"notarizing", project, "notarytool submit"},
                                         StepCase{"stapling", project, "stapler staple"},
                                         StepCase{"zipping", {"Demo.app"}, ""}),
                         CaseName());

} // namespace
} // namespace halvo::test
