#include <HalvoNotarization/Codesigner.h>
#include <HalvoNotarization/Notarizer.h>
#include <HalvoNotarization/ProvisioningProfileReader.h>
#include <Platform/SystemProcessRunner.h>

#include <Support/CaseName.h>
#include <Support/SignedFiles.h>
#include <Support/TemporaryFolder.h>
#include <Support/TestData.h>
#include <Support/Thrown.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::CaseName;
using test::codeDirectory;
using test::descriptionThrown;
using test::signature;
using test::testDataPath;
using test::wrapped;
using testing::HasSubstr;

const std::string infoPlist =
    "<plist><dict><key>CFBundleExecutable</key><string>Demo</string></dict></plist>";

Bytes distributed() {
    return signature(
        {{0, codeDirectory()}, {0x10000, wrapped(test::readTestData("HalvoNotarization/signature.cms"))}});
}

/// The programs as they are built, below the folder that they are built to.
class ToolboxPrograms : public testing::Test {
protected:
    Environment environment{{{"PATH", "/usr/bin:/bin"}, {"HALVO_TOOL_ROOT", HALVO_TOOLBOX}}};
    SystemProcessRunner runner{environment, ToolPaths(environment, "")};
    test::TemporaryFolder folder;
    SilentLog log;

    std::filesystem::path write(std::string_view name, const Bytes& content) {
        return std::filesystem::canonical(folder.write(name, viewText(content)));
    }
    std::filesystem::path app(const Bytes& executable) {
        folder.write("Demo.app/Contents/Info.plist", infoPlist);
        return write("Demo.app/Contents/MacOS/Demo", executable).parent_path().parent_path().parent_path();
    }
    ProcessResult codesign(const std::filesystem::path& path) {
        return runner.run({.executable = "/usr/bin/codesign", .arguments = {"-dvv", path.string()}});
    }
    ProcessResult xcrun(Arguments arguments) {
        return runner.run({.executable = "/usr/bin/xcrun", .arguments = std::move(arguments)});
    }
};

TEST_F(ToolboxPrograms, describeASignedApp) {
    const auto path =
        app(test::universalMachO({{test::x86_64, test::thinMachO(distributed(), {test::x86_64})},
                                  {test::arm64, test::thinMachO(distributed())}}));
    const ProcessResult result = codesign(path);
    EXPECT_TRUE(result.succeeded());
    EXPECT_EQ(result.standardOutput, "");
    const std::string size = std::to_string(test::readTestData("HalvoNotarization/signature.cms").size());
    EXPECT_EQ(result.standardError,
              "Executable=" + path.string() +
                  "/Contents/MacOS/Demo\n"
                  "Identifier=com.example.Demo\n"
                  "Format=app bundle with Mach-O universal (x86_64 arm64)\n"
                  "CodeDirectory v=20500 size=116 flags=0x10000(runtime) hashes=28+7 location=embedded\n"
                  "Signature size=" +
                  size +
                  "\n"
                  "Authority=Developer ID Application: Jane Doe (ABCDE12345)\n"
                  "Authority=Developer ID Certification Authority\n"
                  "Authority=Apple Root CA\n"
                  "TeamIdentifier=ABCDE12345\n");
    EXPECT_TRUE(Codesigner(runner, log).isSignedForDistribution(path));
}

TEST_F(ToolboxPrograms, describeAnAdHocSignature) {
    const auto path =
        write("demo", test::thinMachO(signature({{0, codeDirectory({.team = "", .flags = 0x20002})}})));
    EXPECT_THAT(
        codesign(path).standardError,
        HasSubstr(
            "Format=Mach-O thin (arm64)\nCodeDirectory v=20500 size=105 flags=0x20002(adhoc,linker-signed) "
            "hashes=28+7 location=embedded\nSignature=adhoc\nTeamIdentifier=not set\n"));
    EXPECT_FALSE(Codesigner(runner, log).isSignedForDistribution(path));
}

TEST_F(ToolboxPrograms, findTheExecutableOfAFramework) {
    folder.write("Demo.framework/Versions/A/Resources/Info.plist", infoPlist);
    const auto executable = write("Demo.framework/Versions/A/Demo", test::thinMachO(distributed()));
    std::filesystem::create_symlink("A", folder / "Demo.framework/Versions/Current");
    const std::string text = codesign(folder / "Demo.framework").standardError;
    EXPECT_THAT(text, HasSubstr("Format=bundle with Mach-O thin (arm64)\n"));
    EXPECT_THAT(text, HasSubstr("Identifier=com.example.Demo\n"));
}

struct DescriptionFailure {
    std::string_view name;
    const char* path;
    const char* text;
};

class Undescribed : public ToolboxPrograms, public testing::WithParamInterface<DescriptionFailure> {};

TEST_P(Undescribed, saysWhy) {
    write("unsigned", test::thinMachO({}));
    write("image.dmg", test::diskImage({}));
    write("damaged", test::thinMachO(signature({{0, wrapped({})}})));
    folder.write("plain/file", "");
    folder.write("Damaged.app/Contents/Info.plist", "garbage");
    folder.write("Escaping.app/Contents/Info.plist",
                 "<plist><dict><key>CFBundleExecutable</key><string>../../unsigned</string></dict></plist>");
    folder.write("Hollow.app/Contents/Info.plist", infoPlist);
    const std::string path = folder / GetParam().path;
    const ProcessResult result = codesign(path);
    EXPECT_EQ(result.termination, (Termination{Termination::Kind::exited, 1}));
    EXPECT_THAT(result.standardError, testing::StartsWith(path + ": " + GetParam().text));
}

constexpr const char* notSigned = "code object is not signed at all\n";
constexpr const char* noBundle = "bundle format unrecognized, invalid, or unsuitable\n";

INSTANTIATE_TEST_SUITE_P(
    Codesign, Undescribed,
    testing::Values(DescriptionFailure{"missing", "nothing", "No such file or directory\n"},
                    DescriptionFailure{"unsignedProgram", "unsigned", notSigned},
                    DescriptionFailure{"unsignedImage", "image.dmg", notSigned},
                    DescriptionFailure{"damaged", "damaged", "invalid or unsupported format"},
                    DescriptionFailure{"folder", "plain", noBundle},
                    DescriptionFailure{"damagedInfo", "Damaged.app", noBundle},
                    DescriptionFailure{"executableOutside", "Escaping.app", noBundle},
                    DescriptionFailure{"executableMissing", "Hollow.app", notSigned}),
    CaseName());

TEST_F(ToolboxPrograms, openAProvisioningProfile) {
    ProvisioningProfileReader reader(runner);
    const ProvisioningProfile profile =
        reader.readFile(testDataPath("HalvoNotarization/developer-id.provisionprofile"));
    EXPECT_EQ(profile.type, ProfileType::developerID);
    EXPECT_EQ(profile.name, "Demo Developer ID");
    EXPECT_EQ(profile.bundleIdentifier, "com.example.Demo");
    EXPECT_EQ(profile.expirationDate, parseISO8601("2044-01-31T10:20:30Z"));
    EXPECT_THAT(
        descriptionThrown<ProvisioningProfileError>(
            [&] { reader.readFile(folder.write("garbage", "garbage")); }),
        HasSubstr("Could not read embedded provisioning profile: security: failed to decode message: "));
    EXPECT_THAT(descriptionThrown<ProvisioningProfileError>([&] { reader.readFile(folder / "missing"); }),
                HasSubstr("No such file or directory"));
}

TEST_F(ToolboxPrograms, haveNoIdentities) {
    EXPECT_EQ(runner
                  .run({.executable = "/usr/bin/security",
                        .arguments = {"find-identity", "-v", "-p", "codesigning"}})
                  .standardOutput,
              "     0 valid identities found\n");
    EXPECT_TRUE(Codesigner(runner, log).availableIdentities().empty());
}

TEST_F(ToolboxPrograms, findStapledTickets) {
    const Bytes withTicket = signature({{0, codeDirectory()}, {0x10002, wrapped(viewBytes("s8ch"))}});
    const auto stapled = write("stapled.dmg", test::diskImage(withTicket));
    const auto plain = write("plain.dmg", test::diskImage(distributed()));
    const auto bundle = app(test::thinMachO(distributed()));
    SystemClock clock;
    Notarizer notarizer({runner, clock}, folder.path());
    EXPECT_TRUE(notarizer.isNotarized(stapled));
    const Bytes ticketAlone = signature({{0x10002, wrapped(viewBytes("s8ch"))}});
    EXPECT_TRUE(notarizer.isNotarized(write("alone.dmg", test::diskImage(ticketAlone))));
    EXPECT_FALSE(notarizer.isNotarized(plain));
    EXPECT_FALSE(notarizer.isNotarized(bundle));
    folder.write("Demo.app/Contents/CodeResources", "<?xml version=\"1.0\"?>");
    EXPECT_FALSE(notarizer.isNotarized(bundle)) << "a list of resources of old systems";
    folder.write("Demo.app/Contents/CodeResources", "s8ch\x01");
    EXPECT_TRUE(notarizer.isNotarized(bundle));
    EXPECT_EQ(xcrun({"stapler", "validate", plain.string()}).termination.value, 65);
    EXPECT_EQ(xcrun({"stapler", "validate", folder / "missing"}).termination.value, 65);
}

TEST_F(ToolboxPrograms, sayWhatNeedsAMac) {
    const auto image = write("demo.dmg", test::diskImage({}));
    SystemClock clock;
    Notarizer notarizer({runner, clock}, folder.path());
    EXPECT_EQ(descriptionThrown<CodesigningError>([&] { Codesigner(runner, log).sign(image, "Me"); }),
              "Codesigning failed: " + image.string() +
                  ": signing needs the identities of a macOS keychain; sign on a Mac");
    EXPECT_EQ(descriptionThrown<NotarizationError>(
                  [&] { notarizer.notarize(image, {NotarizationCredentials::KeychainProfile{"P"}}); }),
              "Notarization submission failed: Error: notarytool is not available on this system. Notarize "
              "on a Mac.");
    EXPECT_EQ(descriptionThrown<NotarizationError>([&] { notarizer.staple(image); }),
              "Stapling notarization ticket failed: " + image.string() +
                  ": stapling needs the ticket service of macOS; staple on a Mac");
    EXPECT_EQ(xcrun({"altool"}).termination.value, 72);
    EXPECT_EQ(xcrun({"../../bin/sh", "-c", "exit 0"}).termination.value, 72) << "only tools beside it";
    EXPECT_FALSE(runner.run({.executable = "/usr/bin/xcodebuild", .arguments = {"archive"}}).succeeded());
}

} // namespace
} // namespace halvo
