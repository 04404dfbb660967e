#include <Platform/CopyTree.h>

#include <Support/TemporaryFolder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

const auto longAgo = fs::file_time_type::clock::now() - std::chrono::hours(100'000);

/// An app's folder as it must arrive: links, a program, a folder that nobody may write to, an old file.
fs::path writeTree(const test::TemporaryFolder& folder) {
    const fs::path tree = folder / "tree";
    folder.write("tree/sealed/program", std::string(100'000, 'p'));
    folder.write("tree/empty", "");
    fs::create_symlink("sealed/program", tree / "link");
    fs::create_symlink("nowhere", tree / "dangling");
    fs::permissions(tree / "sealed/program", fs::perms(0751));
    fs::permissions(tree / "empty", fs::perms(0400));
    fs::last_write_time(tree / "sealed/program", longAgo);
    fs::last_write_time(tree / "sealed", longAgo);
    fs::permissions(tree / "sealed", fs::perms(0555));
    return tree;
}

TEST(CopyTree, keepsLinksPermissionsAndTimes) {
    const test::TemporaryFolder folder;
    const fs::path tree = writeTree(folder);
    const fs::path copy = folder / "copy";
    std::uint64_t last = 0;
    std::uint64_t total = 0;
    copyTree(tree, copy, {.progress = [&](std::uint64_t done, std::uint64_t of) {
                 last = done;
                 total = of;
             }});
    EXPECT_EQ(last, 100'000);
    EXPECT_EQ(total, 100'000);
    EXPECT_EQ(test::readText(copy / "sealed/program"), std::string(100'000, 'p'));
    EXPECT_EQ(fs::read_symlink(copy / "link"), "sealed/program");
    EXPECT_EQ(fs::read_symlink(copy / "dangling"), "nowhere");
    EXPECT_EQ(fs::status(copy / "sealed/program").permissions(), fs::perms(0751));
    EXPECT_EQ(fs::status(copy / "empty").permissions(), fs::perms(0400));
    EXPECT_EQ(fs::status(copy / "sealed").permissions(), fs::perms(0555));
    EXPECT_EQ(fs::last_write_time(copy / "sealed/program"), longAgo);
    EXPECT_EQ(fs::last_write_time(copy / "sealed"), longAgo);
}

TEST(CopyTree, stopsWhenAskedAndForWhatIsNoFile) {
    const test::TemporaryFolder folder;
    const fs::path tree = writeTree(folder);
    std::stop_source source;
    source.request_stop();
    EXPECT_THROW(copyTree(tree, folder / "cancelled", {.cancellation = source.get_token()}), CancelledError);
    ASSERT_EQ(::mkfifo((tree / "pipe").c_str(), 0600), 0);
    EXPECT_THROW(copyTree(tree, folder / "copy"), FileError);
    EXPECT_THROW(copyTree(tree / "empty", folder / "file"), FileError);
    EXPECT_THROW(copyTree(tree, tree), FileError); // is there already
}

} // namespace
} // namespace halvo
