#include <HalvoCore/BundleImportService.h>

#include <Platform/Files.h>
#include <Platform/SystemProcessRunner.h>
#include <Support/CaseName.h>
#include <Support/DemoApp.h>
#include <Support/FakeProcessRunner.h>
#include <Support/Shell.h>
#include <ZIP/ZipDirectory.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using ImportError = BundleImportService::ImportError;
using ZipError = ZipService::ZipError;

class BundleImport : public testing::Test {
protected:
    BundleImport() { fs::create_directory(temporary); }
    fs::path packed(const fs::path& content, const std::string& name) {
        zipDirectory(content, folder / name);
        return folder / name;
    }
    static void run(std::string script, Arguments arguments) {
        const Environment environment = Environment::ofProcess();
        const ProcessResult result = SystemProcessRunner(environment, ToolPaths(environment, ""))
                                         .run(test::shell(std::move(script), std::move(arguments)));
        ASSERT_TRUE(result.succeeded()) << result.standardError;
    }
    /// An archive of entries as they are: `names` are Python literals; links and content follow from them.
    fs::path archived(const std::string& names) {
        run("python3 -c 'import sys, zipfile, warnings\n"
            "warnings.simplefilter(\"ignore\")\n"
            "with zipfile.ZipFile(sys.argv[1], \"w\") as archive:\n"
            "    for name in eval(sys.argv[2]):\n"
            "        entry = zipfile.ZipInfo(name)\n"
            "        entry.create_system, mode = 3, 0o120777 if \"link\" in name else 0o100644\n"
            "        entry.external_attr = mode << 16\n"
            "        archive.writestr(entry, open(sys.argv[3]).read() if \"plist\" in name else \"/etc\")' "
            "\"$1\" \"$2\" \"$3\"",
            {(folder / "Made.zip").string(), names,
             (test::writeDemoApp(folder) / "Contents/Info.plist").string()});
        return folder / "Made.zip";
    }
    std::string failureOf(const fs::path& path) {
        try {
            service.importBundle(URL::file(path));
        } catch (const Failure& failure) {
            return failure.description();
        }
        return "was imported";
    }

    test::TemporaryFolder folder;
    fs::path temporary = folder / "temporary";
    ZipService zipService{temporary, {}};
    test::FakeProcessRunner processes;
    SilentLog log;
    DMGService dmgService{processes, log, temporary};
    BundleImportService service{zipService, dmgService};
};

TEST_F(BundleImport, readsAnAppWhereItLies) {
    for (const char* name : {"Demo.app", "Upper.APP", "Folder.bundle", "plain"}) {
        SCOPED_TRACE(name);
        const fs::path app = test::writeDemoApp(folder, name);
        const ImportedBundle imported = service.importBundle(URL::file(app));
        ASSERT_TRUE(std::holds_alternative<ImportedBundle::App>(imported.value));
        BundleInfo expected = test::demoInfo(URL::file(app));
        expected.appIcon = URL::file(app / "Contents/Resources/Demo.icns");
        EXPECT_EQ(imported.bundleInfo(), expected);
    }
}

TEST_F(BundleImport, readsTheAppInAZIPAndCopiesItsIconOut) {
    const fs::path app = test::writeDemoApp(folder);
    for (const char* name : {"Demo.zip", "Other.ZIP"}) {
        SCOPED_TRACE(name);
        const URL archive = URL::file(packed(app, name));
        const ImportedBundle imported = service.importBundle(archive);
        ASSERT_TRUE(std::holds_alternative<ImportedBundle::ZIP>(imported.value));
        EXPECT_EQ(std::get<ImportedBundle::ZIP>(imported.value).sourceURL, archive);
        const BundleInfo& info = imported.bundleInfo();
        EXPECT_EQ(info.identifier, "com.example.Demo");
        EXPECT_FALSE(fs::exists(info.url.filePath()));
        // The icon is all that stays behind.
        ASSERT_TRUE(info.appIcon);
        const fs::path icon = info.appIcon->filePath();
        EXPECT_EQ(test::readText(icon), "picture");
        EXPECT_EQ(icon.parent_path(), temporary);
        EXPECT_EQ(icon.extension(), ".icns");
        fs::remove(icon);
        EXPECT_TRUE(fs::is_empty(temporary));
    }
}

TEST_F(BundleImport, readsTheAppInAnXcodeArchive) {
    folder.write("Demo.xcarchive/Info.plist",
                 "<plist version=\"1.0\"><dict><key>ApplicationProperties</key><dict>"
                 "<key>ApplicationPath</key><string>Applications/Demo.app</string></dict></dict></plist>");
    const URL archive = URL::file(folder / "Demo.xcarchive");
    EXPECT_THROW(service.importArchive(archive), ImportError); // the app is not there
    const fs::path app = test::writeDemoApp(folder, "Demo.xcarchive/Products/Applications/Demo.app");
    const ImportedBundle imported = service.importArchive(archive);
    EXPECT_EQ(std::get<ImportedBundle::ArchivedApp>(imported.value).archiveURL, archive);
    EXPECT_EQ(imported.bundleInfo().url, URL::file(app));
}

TEST_F(BundleImport, namesWhatIsWrongAndLeavesNothingBehind) {
    folder.write("empty.app/readme", "no Contents");
    folder.write("text.txt", "text");
    folder.write("noapp/readme", "x");
    folder.write("outer/Damaged.app/readme", "no Info.plist");
    folder.write("damaged.zip", "PK no archive");
    const fs::path cut = packed(test::writeDemoApp(folder), "cut.zip");
    fs::resize_file(cut, fs::file_size(cut) - 10);
    packed(folder / "noapp", "noapp.zip");
    packed(folder / "outer/Damaged.app", "invalid.zip");

    const std::pair<const char*, const char*> cases[] = {
        {"empty.app", "Invalid app bundle"},
        {"missing.app", "Invalid app bundle"},
        {"text.txt", "Unsupported format: txt"},
        {"missing", "Unsupported format: "},
        {"noapp.zip", "No .app bundle found in ZIP"},
        {"invalid.zip", "Invalid app bundle in ZIP"},
        {"damaged.zip", "Failed to extract ZIP: "},
        {"cut.zip", "Failed to extract ZIP: "},
        {"missing.zip", "Failed to extract ZIP: "},
        {"Demo.DMG", "Executable is not found or cannot be executed."}, // there is no hdiutil
    };
    for (const auto& [file, text] : cases) {
        EXPECT_THAT(failureOf(folder / file), testing::StartsWith(text)) << file;
        EXPECT_TRUE(fs::is_empty(temporary)) << file;
    }
}

TEST_F(BundleImport, judgesOnlyTheNamesThatItWants) {
    const std::string plist = "'./Demo.app//Contents/Info.plist', ";
    const std::pair<std::string, std::string> cases[] = {
        {plist +
             "'../evil', '/tmp/evil', 'a\\\\b', 'Demo.app/link', 'Demo.app/Contents/Resources/Demo.icns/'",
         "was imported"},
        {plist + "'Demo.app/Contents/Resources/../../../evil.icns', 'Demo.app/Contents/Resources/link.icns'",
         "was imported"},
        {plist + "'Demo.app/Contents/Info.plist'", "Failed to extract ZIP: The entry"},
        {"'Demo.app/Contents/MacOS/Demo'", "Bundle does not contain an Info.plist"},
        {"'Demo.app'", "Invalid app bundle in ZIP"},
        {"'sub/Demo.app/Contents/Info.plist'", "No .app bundle found in ZIP"}};
    for (const auto& [names, expected] : cases) {
        EXPECT_THAT(failureOf(archived("[" + names + "]")), testing::StartsWith(expected)) << names;
        EXPECT_TRUE(fs::is_empty(temporary)) << names;
    }
}

TEST_F(BundleImport, packsAnAppWithItsFolderAndLinks) {
    const fs::path app = test::writeDemoApp(folder);
    fs::create_symlink("MacOS/Demo", app / "Contents/Link");
    const fs::path archive = zipService.zip(URL::file(app)).filePath();
    EXPECT_EQ(archive.filename(), "Demo.zip");
    EXPECT_EQ(archive.parent_path().parent_path(), temporary);
    run("unzip -q \"$1\" -d \"$2\"", {archive.string(), (folder / "out").string()});
    EXPECT_EQ(fs::read_symlink(folder / "out/Demo.app/Contents/Link"), "MacOS/Demo");
    EXPECT_EQ(test::readText(folder / "out/Demo.app/Contents/MacOS/Demo"), "program");
}

TEST_F(BundleImport, packsOnlyPackagesAndLeavesNothingOfAFailure) {
    folder.write("plain/readme", "x");
    EXPECT_THROW(zipService.zip(URL::file(folder / "plain")), ZipError);
    EXPECT_THROW(zipService.zip(URL::file(folder / "Missing.app")), ZipError);
    std::stop_source source;
    source.request_stop();
    EXPECT_THROW(ZipService(temporary, source.get_token()).zip(URL::file(test::writeDemoApp(folder))),
                 CancelledError);
    EXPECT_TRUE(fs::is_empty(temporary));
}

} // namespace
} // namespace halvo
