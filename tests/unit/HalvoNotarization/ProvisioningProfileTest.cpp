#include <HalvoNotarization/ProvisioningProfileReader.h>

#include <Base/PropertyList.h>
#include <Platform/Files.h>
#include <Support/ScriptedTools.h>
#include <Support/TestData.h>
#include <Support/Thrown.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::descriptionThrown;
using test::readTestData;
using test::ScriptedTools;

const std::string appleList = "https://developer.apple.com/account/resources/profiles/list";
const Date expiration = *parseISO8601("2030-01-31T10:20:30Z");

PropertyListDictionary entitlements(const char* application) {
    return {{"com.apple.application-identifier", application}};
}

ProvisioningProfile parsed(PropertyListDictionary profile) {
    return ProvisioningProfile::parse(PropertyList(std::move(profile)).xml());
}

TEST(ProvisioningProfile, readsEveryField) {
    EXPECT_EQ(parsed({{"Name", "Demo"},
                      {"UUID", "0f2c"},
                      {"TeamIdentifier", PropertyListArray{"TEAM1", "TEAM2"}},
                      {"ProvisionedDevices", PropertyListArray{"a", "b"}},
                      {"DeveloperCertificates",
                       PropertyListArray{readTestData("HalvoNotarization/developer-id.der"),
                                         copyBytes("damaged"), readTestData("HalvoNotarization/nameless.der"),
                                         readTestData("HalvoNotarization/mac-development.der"), "text"}},
                      {"ExpirationDate", expiration},
                      {"Entitlements", entitlements("TEAM1.com.example.Demo")},
                      {"IsXcodeManaged", true}}),
              (ProvisioningProfile{.type = ProfileType::development,
                                   .name = "Demo",
                                   .teamIdentifier = "TEAM1",
                                   .provisionedDeviceCount = 2,
                                   .uuid = "0f2c",
                                   .certificateNames = {"Developer ID Application: Jane Doe (ABCDE12345)",
                                                        "Mac Developer: Zo\u00e9 M\u00fcller (FGHIJ67890)"},
                                   .expirationDate = expiration,
                                   .bundleIdentifier = "com.example.Demo",
                                   .isXcodeManaged = true}));
}

TEST(ProvisioningProfile, countsAValueOfAnotherTypeAsNone) {
    EXPECT_EQ(
        parsed(
            {{"Name", 7}, {"TeamIdentifier", "TEAM1"}, {"ProvisionedDevices", true}, {"Entitlements", "x"}}),
        ProvisioningProfile{.type = ProfileType::appStore});
}

TEST(BundleIdentifier, standsBehindTheTeam) {
    const std::pair<const char*, std::optional<std::string>> cases[] = {
        {"TEAM.com.example.App", "com.example.App"},
        {"TEAM.com.example.*", std::nullopt},
        {"TEAM", std::nullopt}};
    for (const auto& [entitlement, identifier] : cases)
        EXPECT_EQ(parsed({{"Entitlements", entitlements(entitlement)}}).bundleIdentifier, identifier)
            << entitlement;
}

const std::string developerID = "Developer ID Application: Jane";

TEST(Classification, followsDevicesAndCertificates) {
    const auto classify = ProvisioningProfile::classify;
    EXPECT_EQ(classify(0, false, {"Mac", developerID}), ProfileType::developerID);
    EXPECT_EQ(classify(1, true, {developerID}), ProfileType::development) << "devices count before all else";
    EXPECT_EQ(classify(0, true, {"Mac: Jane"}), ProfileType::enterprise);
    EXPECT_EQ(classify(0, false, {"x Developer ID Application"}), ProfileType::appStore);
}

TEST(DeveloperIDExport, refusesWhatCannotBeShipped) {
    using Type = ProfileType;
    const auto wrongType = [](const char* type) {
        return "\"Demo\" is a " + std::string(type) +
               " profile, but `halvo release` signs for Developer ID distribution. Create a Developer ID Application profile at " +
               appleList + " and pass that file with --provisioning-profile.";
    };
    const Date later = expiration + std::chrono::seconds(1);
    const std::pair<ProvisioningProfile, std::string> cases[] = {
        {{.type = Type::developerID, .expirationDate = later}, ""},
        {{.type = Type::developerID}, ""},
        {{.type = Type::developerID, .name = "Demo", .expirationDate = expiration},
         "\"Demo\" expired 2030-01-31. Regenerate it at " + appleList + " and pass the new file."},
        {{.type = Type::developerID, .name = "Demo", .expirationDate = expiration, .isXcodeManaged = true},
         "\"Demo\" is managed by Xcode, and manual signing can't use it. Create your own Developer ID Application profile at " +
             appleList + " and pass that file with --provisioning-profile."},
        {{.type = Type::development, .name = "Demo", .isXcodeManaged = true}, wrongType("Development")},
        {{.type = Type::enterprise, .name = "Demo"}, wrongType("Enterprise (In-House)")}};
    for (const auto& [profile, failure] : cases) {
        const auto use = [&usable = profile] { usable.assertUsableForDeveloperIDExport(expiration); };
        if (failure.empty())
            EXPECT_NO_THROW(use());
        else
            EXPECT_EQ(descriptionThrown<ProvisioningProfileError>(use), failure);
    }
}

TEST(ProvisioningProfile, refusesWhatIsNoDictionary) {
    for (const std::string text : {"", "garbage", "<plist><array/></plist>", "bplist00", "{\"a\": 1}"})
        EXPECT_EQ(
            descriptionThrown<ProvisioningProfileError>([&] { ProvisioningProfile::parse(viewBytes(text)); }),
            "Embedded provisioning profile is not a valid plist")
            << text;
}

class ProvisioningProfileReaderTest : public testing::Test {
protected:
    ScriptedTools tools;
    ProvisioningProfileReader reader{tools.runner()};

    void answer(const PropertyListDictionary& profile) {
        const Bytes plist = PropertyList(profile).xml();
        tools.write("plist", viewText(plist));
        tools.script("security cms", {R"([{"file": "{here}/plist"}])"});
    }
    std::filesystem::path appWithProfile() {
        return tools.write("Demo.app/Contents/embedded.provisionprofile", "signed")
            .parent_path()
            .parent_path();
    }
};

TEST_F(ProvisioningProfileReaderTest, letsSecurityOpenTheEnvelope) {
    answer({{"Name", "Demo"}});
    EXPECT_EQ(reader.readFile("/My Profile").name, "Demo");
    EXPECT_EQ(tools.argumentsOf("security cms"),
              std::vector<Arguments>{(Arguments{"cms", "-D", "-i", "/My Profile"})});
}

TEST_F(ProvisioningProfileReaderTest, namesAFailedReading) {
    const auto failure = [&] {
        return descriptionThrown<ProvisioningProfileError>([&] { reader.readFile("/p"); });
    };
    const std::string unreadable = "Could not read embedded provisioning profile: ";
    tools.script("security cms", {R"([{"err": "security: failed to decode message\n"}, {"exit": 1}])", "[]"});
    EXPECT_EQ(failure(), unreadable + "security: failed to decode message");
    EXPECT_EQ(failure(), unreadable + "security cms failed");
}

TEST_F(ProvisioningProfileReaderTest, passesAnAppThatEveryMachineCanLaunch) {
    const auto bare = tools.write("Bare.app/Contents/Info.plist", "").parent_path().parent_path();
    EXPECT_EQ(reader.readEmbedded(bare), std::nullopt);
    EXPECT_NO_THROW(reader.assertDistributable(bare));
    EXPECT_TRUE(tools.calls().empty());
    answer({{"ProvisionsAllDevices", true}});
    EXPECT_NO_THROW(reader.assertDistributable(appWithProfile()));
}

TEST_F(ProvisioningProfileReaderTest, refusesAnAppForRegisteredMachines) {
    const auto app = appWithProfile();
    const auto refusal = [&](const PropertyListArray& devices) {
        answer({{"Name", "Demo"}, {"ProvisionedDevices", devices}});
        return descriptionThrown<ProvisioningProfileError>([&] { reader.assertDistributable(app); });
    };
    const std::string embeds =
        "This app embeds a Development provisioning profile (\"Demo\") that only allows ";
    EXPECT_EQ(
        refusal({"a"}),
        embeds +
            "1 registered device to launch it. Shipping it would make the app unlaunchable for everyone else. Re-archive in Xcode with a Developer ID distribution profile (set Signing to \"Developer ID Application\" or use Distribute App > Developer ID), or pass the .xcodeproj / .xcarchive directly to `halvo release` so xcodebuild handles export.");
    EXPECT_TRUE(refusal({"a", "b"}).starts_with(embeds + "2 registered devices to"));
}

TEST(ProvisioningProfileReader, installsWhereXcodeLooks) {
    const test::TemporaryFolder folder;
    const auto profile = folder.write("demo.provisionprofile", "signed");
    const std::filesystem::path library = folder / "Library";
    const auto first = library / "MobileDevice/Provisioning Profiles/0f2c.provisionprofile";
    const auto second = library / "Developer/Xcode/UserData/Provisioning Profiles/0f2c.provisionprofile";
    ProvisioningProfileReader::install(profile, "0f2c", library);
    folder.write("demo.provisionprofile", "signed again");
    ProvisioningProfileReader::install(profile, "0f2c", library);
    EXPECT_EQ(test::readText(first), "signed again");
    EXPECT_EQ(test::readText(second), "signed again");
    EXPECT_THROW(ProvisioningProfileReader::install(folder / "missing", "0f2c", library), FileError);
    EXPECT_EQ(descriptionThrown<ProvisioningProfileError>(
                  [&] { ProvisioningProfileReader::install(profile, "../../escaped", library); }),
              "Could not read embedded provisioning profile: its UUID cannot be a file name");
}

} // namespace
} // namespace halvo
