#include "Headers.h"

#include "Tools.h"

#include <Support/TemporaryFolder.h>
#include <ZIP/ZipArchive.h>

#include <fstream>

#include <gmock/gmock.h>
#include <libdeflate.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

void writeBytes(std::ofstream& file, ByteView bytes) {
    const std::string_view text = viewText(bytes);
    file.write(text.data(), static_cast<std::streamsize>(text.size()));
}

/// An archive of a stored file of 5 GB and a small one behind it. The large one is a hole in the archive, so
/// that it takes no time and no space.
fs::path writeHugeArchive(const test::TemporaryFolder& folder) {
    constexpr std::uint64_t hugeSize = 5'000'000'000;
    const std::string text = "behind it";
    const zip::TreeEntry huge{.name = "huge", .identity = {.size = hugeSize}, .permissions = 0644};
    const zip::TreeEntry small{.name = "small", .identity = {.size = text.size()}, .permissions = 0644};
    const zip::Content hugeContent{.compressedSize = hugeSize, .size = hugeSize};
    const zip::Content smallContent{.crc = libdeflate_crc32(0, text.data(), text.size()),
                                    .compressedSize = text.size(),
                                    .size = text.size()};
    const fs::path path = folder / "huge.zip";
    std::ofstream file(path, std::ios::binary);
    writeBytes(file, zip::localHeader(huge, hugeContent));
    file.seekp(static_cast<std::streamoff>(hugeSize), std::ios::cur);
    const auto offset = static_cast<std::uint64_t>(file.tellp());
    writeBytes(file, zip::localHeader(small, smallContent));
    writeBytes(file, viewBytes(text));
    const auto directoryOffset = static_cast<std::uint64_t>(file.tellp());
    zip::LittleEndianWriter directory;
    zip::writeCentralHeader(directory, huge, hugeContent, 0);
    zip::writeCentralHeader(directory, small, smallContent, offset);
    writeBytes(file, directory.bytes());
    writeBytes(file, zip::endRecords(2, directoryOffset, directory.bytes().size()));
    return path;
}

TEST(ZipHeaders, reachBeyondFourGigabytes) {
    const test::TemporaryFolder folder;
    const fs::path archive = writeHugeArchive(folder);

    const ToolResult python = runTool(
        {"/usr/bin/python3", "-c",
         "import sys, zipfile\narchive = zipfile.ZipFile(sys.argv[1])\n"
         "print(archive.getinfo('huge').file_size, archive.open('huge').read(9), archive.read('small'))",
         archive.string()});
    EXPECT_EQ(python.output, "5000000000 b'\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00\\x00' b'behind it'\n");

    const ToolResult listing = runTool({"zipinfo", archive.string()});
    EXPECT_EQ(listing.status, 0);
    EXPECT_THAT(listing.output, testing::HasSubstr("5000000000"));

    const ZipArchive read(archive);
    EXPECT_EQ(viewText(read.read(read.entries().at(1), 100)), "behind it");
}

TEST(ZipHeaders, keepTimesBeyondTheFormatsRange) {
    // The extended timestamp ends in 2038, the plain one starts in 1980; nothing may wrap around.
    const auto listedYear = [](std::int64_t seconds) {
        const test::TemporaryFolder folder;
        const zip::TreeEntry entry{.name = "a", .identity = {.modifiedSeconds = seconds}};
        zip::LittleEndianWriter archive;
        archive.writeBytes(zip::localHeader(entry, {}));
        const std::size_t directoryOffset = archive.bytes().size();
        zip::writeCentralHeader(archive, entry, {}, 0);
        archive.writeBytes(zip::endRecords(1, directoryOffset, archive.bytes().size() - directoryOffset));
        const fs::path path = folder.write("a.zip", viewText(archive.bytes()));
        return runTool({"/usr/bin/python3", "-c",
                        "import sys, zipfile\nprint(zipfile.ZipFile(sys.argv[1]).infolist()[0].date_time[0])",
                        path.string()})
            .output;
    };
    EXPECT_EQ(listedYear(-86'400), "1980\n");
    EXPECT_EQ(listedYear(4'000'000'000), "2096\n");
    EXPECT_EQ(listedYear(9'000'000'000), "2107\n");
}

} // namespace
} // namespace halvo
