#include <HalvoCore/DMGService.h>

#include <DiskImage/DiskImageWriter.h>

#include <Base/PropertyList.h>
#include <Platform/SystemProcessRunner.h>
#include <Support/CaseName.h>
#include <Support/DemoApp.h>
#include <Support/FakeProcessRunner.h>
#include <Support/RecordingLog.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

constexpr const char* hdiutil = "/usr/bin/hdiutil";

/// An image whose volume is a folder with one app.
class DMGServiceTest : public testing::Test {
protected:
    DMGServiceTest() {
        fs::create_directory(temporary);
        test::writeDemoApp(folder, "volume/Demo.app");
        folder.write("volume/A.app", "sorted first, and no package");
        answers["info"] = plist({{"images", PropertyListArray()}});
        answers["attach"] = plist({{"system-entities", entities()}});
        processes.reply({hdiutil},
                        [this](const ProcessRequest& request) { return answers[request.arguments.front()]; });
    }
    static ProcessResult plist(PropertyListDictionary list, const std::string& before = "",
                               const std::string& behind = "") {
        return {.standardOutput =
                    before + std::string(viewText(PropertyList(std::move(list)).xml())) + behind};
    }
    static ProcessResult failed(const std::string& text) {
        return {.termination = {.value = 7}, .standardError = text};
    }
    PropertyListArray entities() const {
        return {PropertyListDictionary{{"dev-entry", "/dev/disk5"}},
                PropertyListDictionary{{"mount-point", volume.string()}}};
    }
    std::string failure() {
        try {
            service.extractBundleInfo(image);
        } catch (const Failure& failure) {
            return failure.description();
        }
        return "was read";
    }
    Arguments detaching() const { return {hdiutil, "detach", volume.string(), "-force"}; }

    test::TemporaryFolder folder;
    fs::path temporary = folder / "temporary";
    fs::path volume = folder / "volume";
    URL image = URL::file(folder / "My App.dmg");
    std::map<std::string, ProcessResult> answers{}; ///< by what hdiutil is told to do
    test::FakeProcessRunner processes;
    test::RecordingLog log{LogLevel::info};
    DMGService service{processes, log, temporary};
};

TEST_F(DMGServiceTest, mountsReadsAndDetaches) {
    const BundleInfo info = service.extractBundleInfo(image);
    EXPECT_EQ(info.identifier, "com.example.Demo");
    EXPECT_EQ(info.appIcon->filePath().parent_path(), temporary);
    EXPECT_EQ(test::readText(info.appIcon->filePath()), "picture");
    EXPECT_THAT(processes.commands, ElementsAre(Arguments{hdiutil, "info", "-plist"},
                                                Arguments{hdiutil, "attach", (folder / "My App.dmg").string(),
                                                          "-plist", "-nobrowse", "-readonly"},
                                                detaching()));
}

TEST_F(DMGServiceTest, usesAMountThatIsThereAndThenDetachesIt) {
    const PropertyListArray elsewhere{PropertyListDictionary{{"mount-point", "/elsewhere"}}};
    const std::string path = image.filePath().string();
    const PropertyListDictionary other{{"image-path", path + ".dmg"}, {"system-entities", elsewhere}};
    const PropertyListDictionary same{{"image-path", path}, {"system-entities", entities()}};
    answers["info"] = plist({{"images", PropertyListArray{other, same}}});
    EXPECT_EQ(service.extractBundleInfo(image).identifier, "com.example.Demo");
    EXPECT_THAT(processes.commands, ElementsAre(Arguments{hdiutil, "info", "-plist"}, detaching()));
    EXPECT_THAT(log.messages,
                ElementsAre("Reusing existing mount at " + volume.string() + " for My App.dmg"));
}

TEST_F(DMGServiceTest, attachesWhatNobodyCanTellToBeMounted) {
    const ProcessResult mute[] = {failed("no"), {.standardOutput = "no list"}, plist({})};
    for (const ProcessResult& answer : mute) {
        answers["info"] = answer;
        answers["attach"] = plist({{"system-entities", entities()}}, "A licence.\n", "A notice.\n");
        EXPECT_EQ(failure(), "was read");
        EXPECT_EQ(processes.commands.back(), detaching());
    }
}

TEST_F(DMGServiceTest, namesWhatCannotBeMounted) {
    const std::pair<ProcessResult, const char*> cases[] = {
        {failed("no mountable file systems"),
         "Failed to mount DMG: hdiutil exited with status 7: no mountable file systems"},
        {failed("\xff"), "Failed to mount DMG: hdiutil exited with status 7: "},
        {plist({{"other", 1}}), "Failed to mount DMG: Failed to parse hdiutil output"},
        {plist({{"system-entities", PropertyListArray()}}),
         "Failed to mount DMG: No mount point found in hdiutil output"},
    };
    for (const auto& [answer, text] : cases) {
        answers["attach"] = answer;
        EXPECT_EQ(failure(), text);
    }
    // It is attached, whatever was said.
    processes.reply({hdiutil, "attach"}, [this](const ProcessRequest& request) {
        const PropertyListDictionary found{{"image-path", request.arguments[1]},
                                           {"system-entities", entities()}};
        answers["info"] = plist({{"images", PropertyListArray{found}}});
        return ProcessResult{.standardOutput = "no list"};
    });
    EXPECT_THROW(service.mount(image), PropertyListError);
    EXPECT_EQ(processes.commands.back(), detaching());
}

TEST_F(DMGServiceTest, detachesAVolumeThatItCannotUseAndLogsWhereThatFails) {
    fs::remove_all(volume / "Demo.app/Contents");
    EXPECT_EQ(failure(), "Invalid app bundle in DMG");
    EXPECT_EQ(processes.commands.back(), detaching());
    fs::remove_all(volume / "Demo.app");
    answers["detach"] = failed("busy");
    EXPECT_EQ(failure(), "No .app bundle found in DMG");
    EXPECT_THAT(log.messages,
                ElementsAre("Failed to unmount DMG at " + volume.string() + ": Failed to unmount DMG: busy"));
}

struct UnmountedCase {
    const char* name;
    std::vector<std::string> files;
    std::string outcome; ///< an identifier, or what went wrong
};
class UnmountedImage : public testing::TestWithParam<UnmountedCase> {};

/// The property list and the icon of an app in files that are otherwise of no account.
TEST_P(UnmountedImage, isReadWith7Zip) {
    const test::TemporaryFolder folder;
    fs::create_directories(folder / "volume");
    fs::create_directories(folder / "temporary");
    for (const std::string& file : GetParam().files)
        folder.write("volume/" + file, test::readText(test::writeDemoApp(folder) / "Contents/Info.plist"));
    fs::create_directory_symlink("/Applications", folder / "volume/Applications");
    const fs::path image = folder / "made.dmg";
    ASSERT_TRUE(
        writeDiskImage({{.name = "Vol\u00fame"}, readVolumeItem(folder / "volume", "").children}, image));
    const Environment environment(std::map<std::string, std::string>{{"PATH", "/usr/bin:/bin"}});
    SystemProcessRunner processes(environment, ToolPaths(environment, ""));
    SilentLog log;
    const DMGService service(processes, log, folder / "temporary", {}, false);
    std::string outcome;
    try {
        const BundleInfo info = service.extractBundleInfo(URL::file(image));
        outcome = info.identifier;
        if (info.appIcon) {
            outcome += " with icon";
            fs::remove(info.appIcon->filePath());
        }
    } catch (const Failure& failure) {
        outcome = failure.description();
    }
    EXPECT_EQ(outcome, GetParam().outcome);
    EXPECT_TRUE(fs::is_empty(folder / "temporary"));
}

INSTANTIATE_TEST_SUITE_P(
    Contents, UnmountedImage,
    testing::Values(
        UnmountedCase{"app",
                      {"D\u00e9mo.app/Contents/Info.plist", "D\u00e9mo.app/Contents/MacOS/x"},
                      "com.example.Demo"},
        UnmountedCase{"icon",
                      {"Demo.app/Contents/Info.plist", "Demo.app/Contents/Resources/Demo.icns"},
                      "com.example.Demo with icon"},
        UnmountedCase{"firstByName",
                      {"B.app/Contents/Info.plist", "A.app/Contents/x", "Z/A.app/Contents/Info.plist"},
                      "Bundle does not contain an Info.plist"},
        UnmountedCase{"fileNotFolder", {"Demo.app"}, "No .app bundle found in DMG"},
        UnmountedCase{"deeper", {"folder/Demo.app/Contents/Info.plist"}, "No .app bundle found in DMG"},
        UnmountedCase{"noBundle", {"Demo.app/readme"}, "Invalid app bundle in DMG"}),
    test::CaseName());

} // namespace
} // namespace halvo
