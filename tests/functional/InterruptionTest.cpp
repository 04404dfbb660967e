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
    std::size_t answered = 1; ///< requests before the one that is interrupted
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
    // There is no feed yet, as the preflight finds and the upload again; the archive and its copy are taken.
    const ServerReply noFeed{.status = 404, .body = "<Error><Code>NoSuchKey</Code></Error>"};
    std::vector<ServerReply> replies{noFeed, {.status = 200}, {.status = 200}, noFeed};
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
                                         InterruptionCase{"whileTheLatestCopyIsMade", SIGINT, 130, true, 2},
                                         InterruptionCase{"whileTheFeedIsRead", SIGINT, 130, true, 3},
                                         InterruptionCase{"whileTheFeedIsWritten", SIGINT, 130, true, 4}),
                         CaseName());

const std::string identity = "Developer ID Application: Jane Doe (ABCDE12345)";

struct StepCase {
    const char* name;
    Arguments arguments;
    std::string tool; ///< what runs when the signal comes; empty while an archive or an image is written
};

/// Releases to a real bucket that are interrupted at a step of theirs.
class ReleaseWithTools : public ReleaseTest {
protected:
    ReleaseWithTools() {
        AppBundle().writeTo(work);
        std::filesystem::create_directories(work / "Demo.xcodeproj");
        useTools(tools);
        variables.insert(
            {{"ASC_API_KEY_ID", "KEY1"}, {"ASC_API_ISSUER", "issuer-1"}, {"ASC_API_KEY", "cDgga2V5"}});
        secrets.emplace_back("p8 key");
        tools.script("codesign -dvv", {"[]"}); // no Developer ID signed it yet
    }

    /// Waits until a condition holds, for a minute at most.
    template<typename Condition>
    static void await(Condition holds) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
        while (!holds() && std::chrono::steady_clock::now() < deadline)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_TRUE(holds());
    }

    ScriptedTools tools;
};

class InterruptedStep : public ReleaseWithTools, public testing::WithParamInterface<StepCase> {
protected:
    InterruptedStep() {
        useStore();
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
};

TEST_P(InterruptedStep, leavesNothingBehind) {
    if (GetParam().tool.empty())
        enlargeApp();
    else
        delayTool();
    Arguments arguments = GetParam().arguments;
    arguments.insert(arguments.end(), {"--format", "json"});
    const auto process = start(releaseArguments(arguments), variables);
    await([this] { return isReached(); });
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
const Arguments localBuild{"Demo.app", "--codesign-identity", identity, "--output", "out"};

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

/// Releases whose notarization goes on for ever, and takes no notice of SIGTERM.
class Notarizing : public ReleaseWithTools {
protected:
    Notarizing() {
        tools.script("notarytool submit", {R"([{"ignore": 15}, {"spawn": 600}, {"out": "  id: )" +
                                           submission + R"(\n"}, {"hang": true}])"});
    }

    std::unique_ptr<RunningProcess> startNotarizing(const std::string& prelude = "") {
        auto process = start(releaseArguments(localBuild), variables, prelude);
        await([this] {
            return std::filesystem::exists(folder / "error") &&
                   readText(folder / "error").find(submission) != std::string::npos;
        });
        return process;
    }

    void expectNoTools() {
        EXPECT_THAT(tools.processNumbers(), testing::Not(IsEmpty()));
        for (const pid_t number : tools.processNumbers())
            EXPECT_TRUE(vanishes(number));
    }

    bool keyExists() const {
        return std::ranges::any_of(temporaryFiles(),
                                   [](const auto& file) { return file.extension() == ".p8"; });
    }

    /// 'T' for a process that is stopped.
    static char stateOf(pid_t number) {
        const std::string status = readText("/proc/" + std::to_string(number) + "/stat");
        return status.at(status.rfind(')') + 2);
    }

    const std::string submission = "2efe2717-52ef-43a5-96dc-0797e4ca1041";
};

TEST_F(Notarizing, aSecondSignalKillsTheToolsAndStillCleansUp) {
    const auto process = startNotarizing();
    EXPECT_TRUE(keyExists());
    const auto begin = std::chrono::steady_clock::now();
    process->signalGroup(SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    process->signalGroup(SIGINT);
    const Outcome ended = finish(*process);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(2500))
        << "without its patience";
    EXPECT_EQ(ended.status, 130);
    EXPECT_THAT(ended.output, EndsWith("\nThe release was cancelled.\n"));
    expectNoTools();
    script("test ! -e Demo.dmg && test ! -e out");
}

TEST_F(Notarizing, ControlBackslashLeavesNoKey) {
    mayLeaveTemporaryFiles = true;
    const auto process = startNotarizing();
    process->signalGroup(SIGQUIT);
    EXPECT_EQ(finish(*process).status, 128 + SIGQUIT);
    EXPECT_FALSE(keyExists());
    for (const pid_t number : tools.processNumbers()) // nobody was there to end a tool that ignores SIGTERM
        ::kill(number, SIGKILL);
}

TEST_F(Notarizing, theNextRunRemovesTheKeyOfAKilledOne) {
    mayLeaveTemporaryFiles = true;
    const auto process = startNotarizing();
    process->signalGroup(SIGKILL);
    EXPECT_EQ(finish(*process).status, -SIGKILL);
    EXPECT_TRUE(keyExists());
    run({"config", "show", "--bundle-id", "com.example.demo"});
    EXPECT_FALSE(keyExists());
    for (const pid_t number : tools.processNumbers())
        ::kill(number, SIGKILL);
}

TEST_F(Notarizing, signalsIgnoredAtTheStartStayIgnored) {
    const auto process = startNotarizing("trap '' HUP INT;");
    process->signalGroup(SIGHUP);
    process->signalGroup(SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    EXPECT_TRUE(process->signalGroup(0));
    process->signalGroup(SIGTERM);
    process->signalGroup(SIGTERM);
    EXPECT_EQ(finish(*process).status, 128 + SIGTERM);
    expectNoTools();
}

TEST_F(Notarizing, ControlZStopsTheToolsToo) {
    const auto process = startNotarizing("echo $$ >../pid;");
    std::vector<pid_t> all = tools.processNumbers();
    std::erase_if(all, [](pid_t number) { return !isAlive(number); });
    all.push_back(std::stoi(awaitText(folder / "pid")));
    const auto allAreStopped = [&](bool stopped) {
        return std::ranges::all_of(all, [&](pid_t number) { return (stateOf(number) == 'T') == stopped; });
    };
    process->signalGroup(SIGTSTP);
    await([&] { return allAreStopped(true); });
    process->signalGroup(SIGCONT);
    await([&] { return allAreStopped(false); });
    process->signalGroup(SIGINT);
    process->signalGroup(SIGTERM);
    EXPECT_EQ(finish(*process).status, 130);
}

TEST_F(ReleaseWithTools, aCleanUpThatHangsIsGivenUp) {
    mayLeaveTemporaryFiles = true;
    const auto program = folder / "root/usr/bin/hdiutil";
    std::filesystem::remove(program);
    folder.write("root/usr/bin/hdiutil",
                 "#!/bin/sh\n[ \"$1\" = attach ] || exit 0\n"
                 "trap '' TERM\necho $$ >\"$SCRIPTED_TOOLS/hdiutil\"\nexec sleep 60\n");
    std::filesystem::permissions(program, std::filesystem::perms(0755));
    script("mkdir -p \"$1/bin\"; ln -s /bin/true \"$1/bin/chmod\"; ln -s /bin/true \"$1/usr/bin/SetFile\"",
           {(folder / "root").string()});
    for (const int count : {2, 3}) {
        const auto process = start(releaseArguments(localBuild), variables);
        const pid_t tool = std::stoi(awaitText(tools / "hdiutil")); // it is not ended half-way
        const auto begin = std::chrono::steady_clock::now();
        for (int signal = 0; signal < count; ++signal) {
            process->signalGroup(SIGINT);
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        }
        EXPECT_EQ(finish(*process).status, 130);
        EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(4));
        ::kill(tool, SIGKILL);
        std::filesystem::remove(tools / "hdiutil");
    }
}

TEST_F(ReleaseWithTools, tellsWhatTheNotaryServiceFound) {
    tools.script("notarytool submit",
                 {R"([{"out": "  id: 2efe2717-52ef-43a5-96dc-0797e4ca1041\n  status: Invalid\n"}])"});
    tools.script(
        "notarytool log",
        {R"([{"out": "{\"statusSummary\": \"Errors\", \"issues\": [{\"severity\": \"error\", \"path\": \"Demo.app\", \"message\": \"Not signed\", \"architecture\": \"arm64\"}]}"}])"});
    const std::string headline =
        "Release failed: Notarization submission failed: Apple's notary service answered \"Invalid\" to submission 2efe2717-52ef-43a5-96dc-0797e4ca1041: Errors";
    const Arguments arguments{"Demo.app", "--codesign-identity", identity, "--output", "out"};
    EXPECT_THAT(
        release(arguments).output,
        EndsWith("\n" + headline +
                 "\nPath      Severity  Message     Architecture\nDemo.app  error     Not signed  arm64\n"));
    Arguments inJSON = localBuild;
    inJSON.insert(inJSON.end(), {"--format", "json"});
    EXPECT_EQ(nlohmann::json::parse(release(inJSON).output),
              (nlohmann::json{{"code", "release_failed"},
                              {"message", headline + "\nerror: Demo.app: Not signed (arm64)"}}));
    const struct {
        const char* code;
        const char* said;
    } cases[] = {{"notary_agreement_required", "HTTP status code: 403. A required agreement is missing"},
                 {"notary_unreachable", "The network connection was lost."}};
    for (const auto& row : cases) {
        tools.script("notarytool submit",
                     {"[{\"err\": \"Error: " + std::string(row.said) + "\"}, {\"exit\": 1}]"});
        const auto report = nlohmann::json::parse(release(inJSON).output);
        EXPECT_EQ(report.at("code"), row.code);
        EXPECT_THAT(report.at("message").get<std::string>(), EndsWith(row.said));
    }
    tools.script("notarytool submit",
                 {R"([{"err": "Error: No Keychain password item found for profile: P\n"}, {"exit": 69}])"});
    inJSON.insert(inJSON.end(), {"--keychain-profile", "P"});
    EXPECT_EQ(
        nlohmann::json::parse(
            release(inJSON, {{"ASC_API_KEY_ID", ""}, {"ASC_API_ISSUER", ""}, {"ASC_API_KEY", ""}}).output)
            .at("code"),
        "notary_profile_missing");
}

} // namespace
} // namespace halvo::test
