#include <HalvoNotarization/ArchiveExporter.h>

#include <Base/PropertyList.h>
#include <Base/Text.h>
#include <Support/ScriptedTools.h>
#include <Support/Thrown.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::descriptionThrown;
using test::ScriptedTools;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;
using Signing = ArchiveExporter::Signing;

const Signing automatic{Signing::Automatic{}};
const Signing withKey{Signing::Automatic{ASCAuthenticationKey{"KEY1", "issuer-1", copyBytes("secret")}}};
const Signing manual{Signing::Manual{"Developer ID Application", {{"com.example.Demo", "Demo Profile"}}}};

class ArchiveExporterTest : public testing::Test {
protected:
    ScriptedTools tools;
    ArchiveExporter exporter{tools.runner(), tools.temporaryDirectory()};
    std::filesystem::path archive = tools.write("My Demo.xcarchive/Info.plist", "").parent_path();

    Arguments leadingArguments(const std::filesystem::path& folder) const {
        return {"-exportArchive",
                "-archivePath",
                archive.string(),
                "-exportPath",
                folder.string(),
                "-exportOptionsPlist",
                folder / "ExportOptions.plist"};
    }
};

PropertyList options(const Signing& signing) {
    return PropertyList::parse(ArchiveExporter::exportOptionsPlist("ABCDE12345", signing));
}

TEST(ExportOptions, nameTheSigningStyle) {
    PropertyListDictionary expected{
        {"destination", "export"}, {"method", "developer-id"}, {"teamID", "ABCDE12345"}};
    expected.insert_or_assign("signingStyle", "automatic");
    EXPECT_EQ(options(automatic), PropertyList(expected));
    expected.insert_or_assign("signingStyle", "manual");
    expected.insert_or_assign("signingCertificate", "Me & <you>");
    EXPECT_EQ(options({Signing::Manual{"Me & <you>", {}}}), PropertyList(expected));
    expected.insert_or_assign("provisioningProfiles", PropertyListDictionary{{"a.b", "P"}, {"c.d", "Q"}});
    EXPECT_EQ(options({Signing::Manual{"Me & <you>", {{"a.b", "P"}, {"c.d", "Q"}}}}), PropertyList(expected));
}

TEST_F(ArchiveExporterTest, exportsWithAKeyThatIsGoneAfterwards) {
    const auto app = exporter.exportArchive(archive, "ABCDE12345", withKey);
    const auto calls = tools.calls();
    ASSERT_EQ(calls.size(), 1u);
    ASSERT_TRUE(calls[0].key);
    const std::filesystem::path key = calls[0].key->path;
    Arguments expected = leadingArguments(app.parent_path());
    for (const char* argument : {"-allowProvisioningUpdates", "-authenticationKeyPath", key.c_str(),
                                 "-authenticationKeyID", "KEY1", "-authenticationKeyIssuerID", "issuer-1"})
        expected.push_back(argument);
    EXPECT_EQ(calls[0].arguments, expected);
    EXPECT_EQ(test::readText(app.parent_path() / "ExportOptions.plist"),
              viewText(ArchiveExporter::exportOptionsPlist("ABCDE12345", withKey)));
    EXPECT_EQ(calls[0].key->mode, 0600u);
    EXPECT_EQ(calls[0].key->folderMode, 0700u);
    EXPECT_THAT(tools.leftovers(), ElementsAre(app.parent_path().filename()));
}

TEST_F(ArchiveExporterTest, exportsByHandAndFindsTheAppBesideOtherThings) {
    tools.script("xcodebuild -exportArchive",
                 {R"([{"write": ["{export}/Demo.app.dSYM/x", ""]}, {"write": ["{export}/Demo.app/x", ""]},
                      {"write": ["{export}/Packaging.log", ""]}])"});
    const auto app = exporter.exportArchive(archive, "T", manual);
    EXPECT_EQ(app.filename(), "Demo.app");
    EXPECT_THAT(tools.argumentsOf("xcodebuild -exportArchive"),
                ElementsAre(leadingArguments(app.parent_path())));
}

TEST_F(ArchiveExporterTest, namesAFailureAndLeavesTheFolderButNoKey) {
    const std::pair<const char*, std::string> cases[] = {
        {R"([{"err": "error: exportArchive: No signing certificate\n"}, {"exit": 70}])",
         "Export failed: error: exportArchive: No signing certificate"},
        {R"([{"err": "error: \"Demo\" requires a provisioning profile.\n"}, {"exit": 70}])",
         "error: \"Demo\" requires a provisioning profile."},
        {R"([{"write": ["{export}/Demo.app.dSYM/x", ""]}])",
         "xcodebuild produced no .app in the export of " + archive.string()},
        {R"([{"write": ["{export}/A.app/x", ""]}, {"write": ["{export}/B.app/x", ""]}])",
         "xcodebuild produced 2 top-level .app bundles at FOLDER; expected exactly one"}};
    for (const auto& [steps, failure] : cases) {
        tools.script("xcodebuild -exportArchive", {steps});
        const std::string description =
            descriptionThrown<ArchiveExportError>([&] { exporter.exportArchive(archive, "T", withKey); });
        const auto names = tools.leftovers();
        ASSERT_THAT(names, ElementsAre(StartsWith("HalvoExport-")));
        const auto folder = tools.temporaryDirectory() / names[0];
        EXPECT_EQ(description, replacingAll(failure, "FOLDER", folder.string()));
        std::filesystem::remove_all(folder);
    }
}

TEST_F(ArchiveExporterTest, startsNothingForAMissingArchive) {
    EXPECT_EQ(
        descriptionThrown<ArchiveExportError>([&] { exporter.exportArchive("/no/such", "T", automatic); }),
        "Archive not found at /no/such");
    EXPECT_THAT(tools.calls(), IsEmpty());
    EXPECT_THAT(tools.leftovers(), IsEmpty());
}

TEST(AppURL, comesFromTheArchivesInfo) {
    const test::TemporaryFolder folder;
    const auto archive = folder.write("Demo.xcarchive/Info.plist", "\xff\xfe garbage").parent_path();
    const auto failure = [&] {
        return descriptionThrown<ArchiveExportError>([&] { ArchiveExporter::appURL(archive); });
    };
    EXPECT_EQ(failure(), "Archive not found at " + archive.string());
    folder.write("Demo.xcarchive/Info.plist",
                 "<plist><dict><key>Name</key><string>Demo</string></dict></plist>");
    EXPECT_EQ(failure(), "Archive " + archive.string() + " is missing ApplicationPath in Info.plist");
    folder.write(
        "Demo.xcarchive/Info.plist",
        "<plist><dict><key>ApplicationProperties</key><dict><key>ApplicationPath</key><string>Applications/My App.app</string></dict></dict></plist>");
    EXPECT_EQ(ArchiveExporter::appURL(archive), archive / "Products/Applications/My App.app");
}

} // namespace
} // namespace halvo
