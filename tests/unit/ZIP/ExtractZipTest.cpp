#include <ZIP/ExtractZip.h>

#include "ArchiveBuilder.h"
#include "Tools.h"

#include <Platform/Files.h>
#include <Support/TemporaryFolder.h>

#include <gmock/gmock.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using test::TemporaryFolder;

class ExtractZip : public testing::Test {
protected:
    ExtractZip() { fs::create_directory(folder); }

    std::vector<std::string> extract(const std::string& archive, const ExtractionOptions& options = {}) {
        extractZip(around.write("archive.zip", archive), folder, options);
        return describeTree(folder);
    }

    TemporaryFolder around;
    fs::path folder = around / "folder";
};

TEST_F(ExtractZip, unpacksWhatAnotherProgramPacked) {
    around.write("Demo.app/Contents/Info.plist", std::string(5000, 'p'));
    around.write("Demo.app/Contents/Caf\u00e9", "x");
    fs::create_symlink("Contents/Info.plist", around / "Demo.app/link");
    fs::create_directory(around / "Demo.app/Empty");
    fs::permissions(around / "Demo.app/Contents/Info.plist", fs::perms(0755));
    const std::string zipped = (around / "Demo.zip").string();
    const ToolResult zip =
        runTool({"sh", "-c", "cd \"$1\" && zip -qry \"$2\" Demo.app", "sh", around.path().string(), zipped});
    ASSERT_EQ(zip.status, 0) << zip.output;
    extractZip(zipped, folder);
    EXPECT_EQ(describeTree(folder / "Demo.app"), describeTree(around / "Demo.app"));
}

TEST_F(ExtractZip,
       takesWhatMacOSWrites) { // descriptors, an AppleDouble tree beside the app, names without flags
    BuiltEntry plist = deflatedEntry("Demo.app/Contents/Info.plist", "<plist/>");
    plist.hasDescriptor = true;
    const std::string archive = buildArchive({{.name = "Demo.app/", .mode = 0040755},
                                              plist,
                                              {.name = "Demo.app/Cafe\u0301", .data = "x", .mode = 0100775},
                                              {.name = "__MACOSX/._Demo.app", .data = "meta"}});
    EXPECT_THAT(extract(archive),
                testing::ElementsAre("Demo.app/ 755", "Demo.app/Cafe\u0301 755 1", "Demo.app/Contents/ 755",
                                     "Demo.app/Contents/Info.plist 644 8", "__MACOSX/ 755",
                                     "__MACOSX/._Demo.app 644 4"));
}

TEST_F(ExtractZip, masksPermissions) {
    const std::string archive = buildArchive({{.name = "open", .mode = 0100777},
                                              {.name = "setUserID", .mode = 0104755},
                                              {.name = "unreadable", .mode = 0100000},
                                              {.name = "writeOnly", .mode = 0100222},
                                              {.name = "d/", .mode = 0040500},
                                              {.name = "d/file", .mode = 0}});
    EXPECT_THAT(extract(archive),
                testing::ElementsAre("d/ 700", "d/file 644 0", "open 755 0", "setUserID 755 0",
                                     "unreadable 644 0", "writeOnly 600 0"));
}

TEST_F(ExtractZip, keepsLinksThatStayInside) {
    const auto link = [](std::string name, std::string target) {
        return BuiltEntry{.name = std::move(name), .data = std::move(target), .mode = 0120777};
    };
    const std::string archive =
        buildArchive({link("K/Versions/Current", "A"), link("K/Kit", "Versions/Current/Kit"),
                      link("K/up", "Versions/Current/../../../other"), link("dangling", "nowhere/../no")});
    EXPECT_THAT(extract(archive),
                testing::ElementsAre("K/ 755", "K/Kit -> Versions/Current/Kit", "K/Versions/ 755",
                                     "K/Versions/Current -> A", "K/up -> Versions/Current/../../../other",
                                     "dangling -> nowhere/../no"));
}

TEST_F(ExtractZip, dropsEmptyAndDotComponents) {
    const std::string archive =
        buildArchive({{.name = "./", .mode = 0040755}, {.name = "./a"}, {.name = "d//b"}});
    EXPECT_THAT(extract(archive), testing::ElementsAre("a 644 0", "d/ 755", "d/b 644 0"));
}

TEST_F(ExtractZip, readsZIP64Fields) {
    BuiltEntry entry{.name = "a", .data = "four"};
    entry.size = entry.compressedSize = 0xFFFFFFFF;
    entry.extra = littleEndian(0x7777, 2) + littleEndian(1, 2) + "x" + littleEndian(1, 2) +
                  littleEndian(16, 2) + littleEndian(4, 8) + littleEndian(4, 8);
    EXPECT_THAT(extract(buildArchive({entry})), testing::ElementsAre("a 644 4"));
}

TEST_F(ExtractZip, unpacksOnlyWhatIsWanted) {
    BuiltEntry broken{.name = "Demo.app/big", .data = "broken", .crc = 1};
    const std::string archive = buildArchive({{.name = "Demo.app/", .mode = 0040755},
                                              {.name = "Demo.app/Contents/Info.plist", .data = "p"},
                                              broken});
    const auto isPlist = [](std::string_view path) { return path.ends_with("/Contents/Info.plist"); };
    EXPECT_THAT(extract(archive, {.wanted = isPlist}),
                testing::ElementsAre("Demo.app/ 755", "Demo.app/Contents/ 755",
                                     "Demo.app/Contents/Info.plist 644 1"));
}

TEST_F(ExtractZip, leavesNothingBehindWhenCancelled) {
    std::stop_source stop;
    const auto stopLate = [&](std::string_view path) {
        if (path == "z")
            stop.request_stop();
        return true;
    };
    EXPECT_THROW(extract(buildArchive({{.name = "a"}, {.name = "z"}}),
                         {.wanted = stopLate, .cancellation = stop.get_token()}),
                 CancelledError);
    EXPECT_TRUE(fs::is_empty(folder));
}

TEST_F(ExtractZip, wantsAnEmptyFolder) {
    const fs::path mine = around.write("folder/mine", "stays");
    EXPECT_THROW(extract(buildArchive({{.name = "a"}})), FileError);
    EXPECT_EQ(test::readText(mine), "stays");
    EXPECT_THROW(extractZip(around / "archive.zip", around / "absent"), FileError);
}

TEST_F(ExtractZip, acceptsAnArchiveWithoutEntriesOrWithAComment) {
    EXPECT_TRUE(extract(buildArchive({})).empty());
    std::string archive = buildArchive({{.name = "a"}});
    archive.replace(archive.size() - 2, 2, littleEndian(5, 2) + "hello");
    EXPECT_THAT(extract(archive), testing::ElementsAre("a 644 0"));
}

TEST_F(ExtractZip, hidesControlCharactersOfNamesFromTheTerminal) {
    try {
        extract(buildArchive({{.name = "../\x1b[2Jevil"}}));
        ADD_FAILURE() << "unpacked";
    } catch (const ZIPError& error) {
        EXPECT_EQ(error.description().find('\x1b'), std::string::npos);
        EXPECT_THAT(error.description(), testing::HasSubstr("../?[2Jevil"));
    }
}

} // namespace
} // namespace halvo
