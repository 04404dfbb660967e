#include <ZIP/ZipArchive.h>
#include <ZIP/ZipDirectory.h>

#include "Tools.h"

#include <Platform/Files.h>
#include <Support/TemporaryFolder.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fstream>
#include <random>

#include <fcntl.h>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using test::TemporaryFolder;

void setTime(const fs::path& path, std::time_t seconds) {
    const timespec times[2] = {{seconds, 0}, {seconds, 123'456'789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, AT_SYMLINK_NOFOLLOW), 0);
}

std::string randomText(std::size_t size, char smallest, char largest) {
    std::mt19937 generator(static_cast<unsigned>(size));
    std::uniform_int_distribution<int> distribution(smallest, largest);
    std::string text(size, '\0');
    std::ranges::generate(text, [&] { return static_cast<char>(distribution(generator)); });
    return text;
}

/// A bundle with everything that an archive must keep: modes, links, empty folders, odd names.
fs::path makeBundle(const TemporaryFolder& folder) {
    const fs::path app = folder / "Demo.app";
    folder.write("Demo.app/Contents/Info.plist", std::string(4000, 'p'));
    folder.write("Demo.app/Contents/MacOS/Demo", std::string(70'000, 'x') + "end");
    folder.write("Demo.app/Contents/Frameworks/Kit.framework/Versions/A/Kit", "kit");
    folder.write("Demo.app/Contents/Resources/noise", randomText(5000, -128, 127));
    folder.write("Demo.app/Contents/Resources/._Info.plist", "AppleDouble");
    folder.write("Demo.app/Contents/Resources/.DS_Store", "");
    folder.write("Demo.app/Contents/Resources/Caf\u00e9", "composed");
    folder.write("Demo.app/Contents/Resources/Cafe\u0301", "decomposed");
    fs::create_directory(app / "Contents/Empty");
    fs::create_symlink("A", app / "Contents/Frameworks/Kit.framework/Versions/Current");
    fs::create_symlink("Versions/Current/Kit", app / "Contents/Frameworks/Kit.framework/Kit");
    for (const auto& item : fs::recursive_directory_iterator(app))
        if (!item.is_symlink())
            fs::permissions(item.path(), item.is_directory() ? fs::perms(0755) : fs::perms(0644));
    fs::permissions(app / "Contents/MacOS/Demo", fs::perms(0755));
    for (const auto& item : fs::recursive_directory_iterator(app))
        setTime(item.path(), 1'700'000'001);
    fs::permissions(app, fs::perms(0755));
    setTime(app, 1'700'000'001);
    return app;
}

std::vector<std::string> namesIn(const fs::path& archive) {
    const ToolResult result =
        runTool({"/usr/bin/python3", "-c",
                 "import sys, zipfile\nfor name in zipfile.ZipFile(sys.argv[1]).namelist():"
                 " sys.stdout.buffer.write(name.encode('utf-8', 'surrogateescape') + b'\\n')",
                 archive.string()});
    std::vector<std::string> names;
    std::istringstream lines(result.output);
    for (std::string line; std::getline(lines, line);)
        names.push_back(line);
    return names;
}

TEST(ZipDirectory, isReadByOtherProgramsAsItWas) {
    const TemporaryFolder folder;
    const fs::path app = makeBundle(folder);
    const fs::path archive = folder / "Demo.zip";
    zipDirectory(app, archive);

    for (const std::vector<std::string>& check :
         {std::vector<std::string>{"unzip", "-tqq", archive.string()},
          {"7zz", "t", archive.string()},
          {"/usr/bin/python3", "-m", "zipfile", "-t", archive.string()},
          {"zip", "-Tq", archive.string()}}) {
        const ToolResult result = runTool(check);
        EXPECT_EQ(result.status, 0) << result.output;
    }
    const fs::path unpacked = folder / "unpacked";
    // In a locale that is not UTF-8, unzip writes names in escapes of its own.
    const ToolResult unzip =
        runTool({"env", "LC_ALL=C.UTF-8", "unzip", "-qq", archive.string(), "-d", unpacked.string()});
    ASSERT_EQ(unzip.status, 0) << unzip.output;
    EXPECT_EQ(describeTree(unpacked / "Demo.app"), describeTree(app));
    EXPECT_EQ(
        runTool({"diff", "-r", "--no-dereference", app.string(), (unpacked / "Demo.app").string()}).status,
        0);
    struct stat status {};
    ASSERT_EQ(::stat((unpacked / "Demo.app/Contents/Info.plist").c_str(), &status), 0);
    EXPECT_EQ(status.st_mtim.tv_sec, 1'700'000'001) << "an odd second needs the extended timestamp";
}

TEST(ZipDirectory, storesWhatDoesNotShrinkAndDropsSetUserID) {
    const TemporaryFolder folder;
    const fs::path app = makeBundle(folder);
    fs::permissions(app / "Contents/MacOS/Demo", fs::perms(04755));
    const fs::path archive = folder / "Demo.zip";
    zipDirectory(app, archive);
    const std::string listing = runTool({"zipinfo", archive.string()}).output;
    EXPECT_THAT(listing,
                testing::ContainsRegex("-rw-r--r-- .* stor [^ ]* [^ ]* Demo.app/Contents/Resources/noise"));
    EXPECT_THAT(listing,
                testing::ContainsRegex("-rwxr-xr-x .* def. [^ ]* [^ ]* Demo.app/Contents/MacOS/Demo"));
    EXPECT_THAT(listing, testing::ContainsRegex("lrwxr-xr-x .* stor [^ ]* [^ ]* [^ ]*Versions/Current"));
    EXPECT_THAT(listing, testing::ContainsRegex("drwxr-xr-x .* Demo.app/Contents/Empty/"));
}

constexpr std::size_t piece = std::size_t{4} << 20;
/// Sizes around the borders of the pieces that are deflated in parallel (4 MiB).
TEST(ZipLargeFile, isOneValidStream) {
    const struct {
        const char* name;
        std::size_t size;
        char smallest, largest; ///< of the random bytes
    } cases[] = {{"onePiece", piece, 'a', 'p'},
                 {"oneByteMore", piece + 1, 'a', 'p'},
                 {"allTheSameByte", 2 * piece + 5, 'z', 'z'},
                 {"doesNotShrink", 2 * piece + 3, -128, 127}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const TemporaryFolder folder;
        folder.write("Big/file", randomText(row.size, row.smallest, row.largest));
        folder.write("Big/next", "after it");
        const fs::path archive = folder / "Big.zip";
        std::vector<std::uint64_t> steps;
        std::uint64_t total = 0;
        zipDirectory(folder / "Big", archive,
                     {.threads = 3, .progress = [&](std::uint64_t done, std::uint64_t all) {
                          steps.push_back(done);
                          total = all;
                      }});
        const ToolResult unzip = runTool({"unzip", "-tqq", archive.string()});
        EXPECT_EQ(unzip.status, 0) << unzip.output;
        const ZipArchive read(archive);
        EXPECT_TRUE(viewText(read.read(read.entries().at(1), row.size)) ==
                    test::readText(folder / "Big/file"));
        EXPECT_LE(fs::file_size(archive), row.size + 1000);
        EXPECT_TRUE(std::ranges::is_sorted(steps));
        EXPECT_EQ(total, row.size + 8);
        EXPECT_EQ(steps.back(), total);
    }
}

TEST(ZipDirectory, givesTheSameBytesForTheSameTree) {
    const TemporaryFolder folder;
    const TemporaryFolder other;
    makeBundle(folder);
    zipDirectory(folder / "Demo.app", folder / "first.zip", {.threads = 1});

    ASSERT_EQ(runTool({"cp", "-a", (folder / "Demo.app").string(), (other / "Demo.app").string()}).status, 0);
    ::setenv("TZ", "Pacific/Auckland", 1);
    ::tzset();
    zipDirectory(other / "Demo.app", other / "second.zip", {.threads = 4});
    ::unsetenv("TZ");
    ::tzset();
    EXPECT_TRUE(test::readText(folder / "first.zip") == test::readText(other / "second.zip"));
}

TEST(ZipDirectory, holdsMoreEntriesThanSixteenBitsCount) {
    const TemporaryFolder folder;
    constexpr int count = 66'000;
    for (int part = 0; part < 66; ++part)
        fs::create_directories(folder / fmt::format("Many/{:02}", part));
    for (int index = 0; index < count; ++index) {
        const FILE* file =
            std::fopen((folder / fmt::format("Many/{:02}/{}", index % 66, index)).c_str(), "w");
        ASSERT_NE(file, nullptr);
        std::fclose(const_cast<FILE*>(file));
    }
    const fs::path archive = folder / "Many.zip";
    zipDirectory(folder / "Many", archive);
    EXPECT_EQ(namesIn(archive).size(), 1u + 66 + count);
    const ToolResult test = runTool({"7zz", "t", archive.string()});
    EXPECT_EQ(test.status, 0) << test.output;
    EXPECT_EQ(ZipArchive(archive).entries().size(), 1u + 66 + count);
}

TEST(ZipDirectory, leavesNothingBehindWhenCancelled) {
    const TemporaryFolder folder;
    folder.write("Big/file", randomText(3 * piece, 'a', 'z'));
    const fs::path archive = folder.write("Big.zip", "the old one");
    std::stop_source stop;
    EXPECT_THROW(zipDirectory(folder / "Big", archive,
                              {.progress = [&](std::uint64_t, std::uint64_t) { stop.request_stop(); },
                               .cancellation = stop.get_token()}),
                 CancelledError);
    EXPECT_EQ(test::readText(archive), "the old one");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 2);
}

TEST(ZipDirectory, namesAFileThatChangesMeanwhile) {
    for (const char* change : {"grows", "shrinks", "vanishes", "becomes a link"}) {
        SCOPED_TRACE(change);
        const TemporaryFolder folder;
        folder.write("App/a", std::string(18 * piece, 'a')); // more than is read ahead
        const fs::path victim = folder.write("App/b", "content");
        bool isChanged = false;
        try {
            zipDirectory(folder / "App", folder / "App.zip",
                         {.threads = 1, .progress = [&](std::uint64_t, std::uint64_t) {
                              if (std::exchange(isChanged, true))
                                  return;
                              const std::string_view what = change;
                              if (what == "vanishes" || what == "becomes a link")
                                  fs::remove(victim);
                              if (what == "becomes a link")
                                  fs::create_symlink("a", victim);
                              else if (what != "vanishes")
                                  fs::resize_file(victim, what == "grows" ? 100 : 2);
                          }});
            ADD_FAILURE() << "packed";
        } catch (const ZIPError& error) {
            const auto* changed = std::get_if<ZIPError::Changed>(&error.which);
            ASSERT_NE(changed, nullptr) << error.description();
            EXPECT_EQ(changed->path, victim.string());
        }
        EXPECT_EQ(std::distance(fs::directory_iterator(folder.path()), {}), 1);
    }
}

TEST(ZipDirectory, refusesWhatIsNoFolderOrCannotBePacked) {
    const TemporaryFolder folder;
    EXPECT_THROW(zipDirectory(folder.write("file", ""), folder / "a.zip"), ZIPError);
    EXPECT_THROW(zipDirectory(folder / "absent", folder / "a.zip"), FileError);
    folder.write("App/file", "");
    EXPECT_THROW(zipDirectory(folder / "App", folder / "absent/a.zip"), FileError);
    ASSERT_EQ(::mkfifo((folder / "App/pipe").c_str(), 0600), 0);
    try {
        zipDirectory(folder / "App", folder / "a.zip");
        ADD_FAILURE() << "packed a pipe";
    } catch (const ZIPError& error) {
        EXPECT_TRUE(std::holds_alternative<ZIPError::SpecialFile>(error.which)) << error.description();
    }
    EXPECT_FALSE(fs::exists(folder / "a.zip"));
}

} // namespace
} // namespace halvo
