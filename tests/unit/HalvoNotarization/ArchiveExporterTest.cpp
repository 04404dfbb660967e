#include <HalvoNotarization/ArchiveExporter.h>

#include <Base/PropertyList.h>
#include <Base/Text.h>
#include <Support/CaseName.h>
#include <Support/ScriptedTools.h>
#include <Support/Shell.h>
#include <Support/Thrown.h>

#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::CaseName;
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
    EXPECT_EQ(options(automatic), PropertyList(PropertyListDictionary{{"destination", "export"},
                                                                      {"method", "developer-id"},
                                                                      {"teamID", "ABCDE12345"},
                                                                      {"signingStyle", "automatic"}}));
    PropertyListDictionary byHand{{"destination", "export"},
                                  {"method", "developer-id"},
                                  {"teamID", "ABCDE12345"},
                                  {"signingStyle", "manual"},
                                  {"signingCertificate", "Me & <you>"}};
    EXPECT_EQ(options({Signing::Manual{"Me & <you>", {}}}), PropertyList(byHand));
    byHand.emplace("provisioningProfiles", PropertyListDictionary{{"a.b", "P"}, {"c.d", "Q"}});
    EXPECT_EQ(options({Signing::Manual{"Me & <you>", {{"a.b", "P"}, {"c.d", "Q"}}}}), PropertyList(byHand));
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

struct ExportFailureCase {
    std::string_view name;
    const char* steps;
    const char* failure; ///< with ARCHIVE and FOLDER for the two paths
};

class ExportFailure : public ArchiveExporterTest, public testing::WithParamInterface<ExportFailureCase> {};

TEST_P(ExportFailure, isNamedAndLeavesTheFolderButNoKey) {
    tools.script("xcodebuild -exportArchive", {GetParam().steps});
    const std::string description =
        descriptionThrown<ArchiveExportError>([&] { exporter.exportArchive(archive, "T", withKey); });
    const auto names = tools.leftovers();
    ASSERT_THAT(names, ElementsAre(StartsWith("HalvoExport-")));
    std::string expected = replacingAll(GetParam().failure, "ARCHIVE", archive.string());
    EXPECT_EQ(description,
              replacingAll(expected, "FOLDER", (tools.temporaryDirectory() / names[0]).string()));
}

INSTANTIATE_TEST_SUITE_P(
    ArchiveExporter, ExportFailure,
    testing::Values(
        ExportFailureCase{"exitCode",
                          R"([{"err": "error: exportArchive: No signing certificate\n"}, {"exit": 70}])",
                          "Export failed: error: exportArchive: No signing certificate"},
        ExportFailureCase{"profileMissing",
                          R"([{"err": "error: \"Demo\" requires a provisioning profile.\n"}, {"exit": 70}])",
                          "error: \"Demo\" requires a provisioning profile."},
        ExportFailureCase{"noApp", R"([{"write": ["{export}/Demo.app.dSYM/x", ""]}])",
                          "xcodebuild produced no .app in the export of ARCHIVE"},
        ExportFailureCase{"twoApps",
                          R"([{"write": ["{export}/A.app/x", ""]}, {"write": ["{export}/B.app/x", ""]}])",
                          "xcodebuild produced 2 top-level .app bundles at FOLDER; expected exactly one"}),
    CaseName());

TEST_F(ArchiveExporterTest, endsTheWholeGroupAndRemovesItsFilesWhenCancelled) {
    tools.script("xcodebuild -exportArchive", {R"([{"spawn": 60}, {"out": "ready"}, {"hang": true}])"});
    std::stop_source source;
    ArchiveExporter cancellable(tools.runner(), tools.temporaryDirectory(), source.get_token());
    std::jthread canceller([&] {
        while (tools.processNumbers().size() < 2)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        source.request_stop();
    });
    EXPECT_THROW(cancellable.exportArchive(archive, "T", withKey), CancelledError);
    for (const pid_t process : tools.processNumbers())
        EXPECT_TRUE(test::vanishes(process));
    EXPECT_THAT(tools.leftovers(), IsEmpty());
}

TEST_F(ArchiveExporterTest, startsNothingForAMissingArchive) {
    EXPECT_EQ(
        descriptionThrown<ArchiveExportError>([&] { exporter.exportArchive("/no/such", "T", automatic); }),
        "Archive not found at /no/such");
    EXPECT_THAT(tools.calls(), IsEmpty());
    EXPECT_THAT(tools.leftovers(), IsEmpty());
}

TEST(AppURL, comesFromTheArchivesInfo) {
    const struct {
        std::string_view name;
        const char* info;
        const char* failure; ///< with ARCHIVE for the path; empty: found
    } cases[] = {{"found",
                  "<plist><dict><key>ApplicationProperties</key><dict><key>ApplicationPath</key>"
                  "<string>Applications/My App.app</string></dict></dict></plist>",
                  ""},
                 {"noProperties", "<plist><dict><key>Name</key><string>Demo</string></dict></plist>",
                  "Archive ARCHIVE is missing ApplicationPath in Info.plist"},
                 {"garbage", "\xff\xfe garbage", "Archive not found at ARCHIVE"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const test::TemporaryFolder folder;
        const auto archive = folder.write("Demo.xcarchive/Info.plist", row.info).parent_path();
        const std::string failure = replacingAll(row.failure, "ARCHIVE", archive.string());
        if (failure.empty())
            EXPECT_EQ(ArchiveExporter::appURL(archive), archive / "Products/Applications/My App.app");
        else
            EXPECT_EQ(descriptionThrown<ArchiveExportError>([&] { ArchiveExporter::appURL(archive); }),
                      failure);
    }
}

} // namespace
} // namespace halvo
