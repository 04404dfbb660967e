#include "CommandRun.h"

#include <Base/Text.h>
#include <HalvoCore/StorageController.h>
#include <Platform/Files.h>
#include <Support/DemoApp.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

constexpr const char* hdiutil = "/usr/bin/hdiutil";

/// Runs of the two commands with tools that do as they are told. Temporary files lie beside the app.
class DMGCommands : public testing::Test {
protected:
    explicit DMGCommands(TerminalDescription terminal = {}, const std::string& typed = "")
        : test({}, terminal, typed) {
        fs::create_directories(volume / ".background");
        test.folder.write("volume/.background/background.png", "");
        for (const char* tool : {hdiutil, "/bin/chmod", "/usr/bin/codesign", "/usr/bin/xcrun"})
            test.processes.reply({tool}, {.standardOutput = "status: Accepted"});
        test.processes.reply({hdiutil, "attach"},
                             {.standardOutput = "/dev/disk9\t" + volume.string() + "\n"});
        test.processes.reply({hdiutil, "convert"}, [](const ProcessRequest& request) {
            writeNewFile(request.arguments.back(), viewBytes("image"));
            return ProcessResult{};
        });
    }
    int run(const Arguments& arguments) { return test::runCommand(test, arguments); }
    int createDMG(Arguments options = {}) {
        options.insert(options.begin(), {"create-dmg", app.string(), "--output", image.string()});
        return run(options);
    }
    /// "codesign", "xcrun": the tools that ran after the image was there.
    std::vector<std::string> finishingTools() const {
        std::vector<std::string> tools;
        for (const Arguments& command : test.processes.commands)
            if (command[0] == "/usr/bin/codesign" || command[0] == "/usr/bin/xcrun")
                tools.push_back(fs::path(command[0]).filename());
        return tools;
    }

    test::TestServices test;
    fs::path app = test::writeDemoApp(test.folder);
    fs::path volume = test.folder / "volume";
    fs::path image = test.folder / "out.dmg";
};

TEST_F(DMGCommands, makesAnImageWithoutSigningIt) {
    EXPECT_EQ(createDMG({"--keychain-profile", "p"}), 0);
    EXPECT_THAT(test.output->text, HasSubstr("No codesign identity provided. DMG will not be signed."));
    EXPECT_THAT(test.output->text,
                Not(HasSubstr("No keychain profile provided. DMG will not be notarized.")));
    EXPECT_THAT(test.output->text, testing::EndsWith("Output: " + image.string() + "\n"));
    EXPECT_THAT(finishingTools(), IsEmpty()); // no notarization of what is not signed
    EXPECT_TRUE(fs::exists(image));
    for (const auto& entry : fs::directory_iterator(test.folder.path()))
        EXPECT_THAT(entry.path().filename(), Not(HasSubstr("background-"))) << entry.path();
}

TEST_F(DMGCommands, signsAndNotarizesWithWhatIsStored) {
    UserDefaultsStorageController(test.userDefaults)
        .setReleaseSettings(
            ReleaseSettings{.codesignIdentity = {"AB12", "Stored", "TEAM"}, .keychainProfile = "profile"},
            "com.example.Demo");
    EXPECT_EQ(createDMG(), 0);
    EXPECT_THAT(finishingTools(), ElementsAre("codesign", "xcrun", "xcrun")); // submit and staple
    EXPECT_THAT(test.output->text, Not(HasSubstr("No ")));
    test.processes.commands.clear();
    fs::remove(image);
    EXPECT_EQ(createDMG({"--skip-notarization"}), 0);
    EXPECT_THAT(finishingTools(), ElementsAre("codesign"));
}

TEST_F(DMGCommands, aFailedSignatureLeavesTheImage) {
    test.processes.reply({"/usr/bin/codesign", "--deep"},
                         {.termination = {.value = 1}, .standardError = "no identity found"});
    EXPECT_EQ(createDMG({"--codesign-identity", "Nobody", "--skip-notarization"}), 1);
    EXPECT_THAT(test.error->text, HasSubstr("no identity found"));
    EXPECT_TRUE(fs::exists(image));
}

TEST_F(DMGCommands, reportsWhatIsNoAppAndWhatIsThere) {
    test.folder.write("out.dmg", "old");
    EXPECT_EQ(createDMG(), 1);
    EXPECT_THAT(test.error->text, HasSubstr("Output file already exists at " + image.string()));
    EXPECT_EQ(test::readText(image), "old");
    EXPECT_EQ(run({"create-dmg", (test.folder / "x.tar").string()}), 1);
    EXPECT_THAT(test.error->text, HasSubstr("x.tar"));
    EXPECT_THAT(test.processes.commands, IsEmpty());
}

struct DMGCommandsAtATerminal : DMGCommands {
    DMGCommandsAtATerminal() : DMGCommands(test::personsTerminal(), "n") {}
};

TEST_F(DMGCommandsAtATerminal, offerTheSettingsWhenThePermissionIsMissing) {
    test.processes.reply({"/bin/chmod", "-Rf"},
                         {.termination = {.value = 1}, .standardError = "Operation not permitted"});
    EXPECT_EQ(createDMG(), 1);
    const std::string told = test.error->text + test.output->text;
    EXPECT_THAT(told, HasSubstr("Open System Settings → Privacy & Security → App Management?"));
    EXPECT_THAT(told, HasSubstr("macOS denied permission while building the DMG"));
}

TEST_F(DMGCommands, writesATemplateOnceAndNeverOverAFile) {
    const std::string file = (test.folder / "template.png").string();
    EXPECT_EQ(run({"dmg-template", "--output", file}), 0);
    EXPECT_THAT(test.output->text, HasSubstr("Template written to " + file));
    const std::string first = test::readText(file);
    EXPECT_EQ(run({"dmg-template", "--output", file}), 1);
    EXPECT_THAT(test.error->text, HasSubstr("A file already exists at " + file + "."));
    EXPECT_EQ(test::readText(file), first);
    EXPECT_TRUE(test.images->readProperties(viewBytes(first)));
}

} // namespace
} // namespace halvo
