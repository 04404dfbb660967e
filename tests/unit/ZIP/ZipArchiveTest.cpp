#include <ZIP/ZipArchive.h>

#include "ArchiveBuilder.h"
#include "Tools.h"

#include <Support/TemporaryFolder.h>

#include <map>

#include <gmock/gmock.h>

namespace halvo {
namespace {

using namespace std::string_literals;

/// Name and content of every entry, or the case of the failure.
std::map<std::string, std::string> contentOf(const std::string& bytes, std::uint64_t limit = 1u << 20) {
    const test::TemporaryFolder folder;
    std::map<std::string, std::string> content;
    try {
        const ZipArchive archive(folder.write("archive.zip", bytes));
        for (const ZipEntry& entry : archive.entries())
            content[entry.name] = viewText(archive.read(entry, limit));
        return content;
    } catch (const ZIPError& error) {
        static constexpr const char* names[] = {"NotAnArchive", "Damaged", "Encrypted", "Unsupported",
                                                "TooLarge"};
        return {{"failure", names[error.which.index()]}};
    }
}

std::map<std::string, std::string> failure(const std::string& name) { return {{"failure", name}}; }

TEST(ZipArchive, readsWhatOthersPack) {
    const test::TemporaryFolder folder;
    folder.write("Demo.app/Info.plist", std::string(5000, 'p'));
    folder.write("Demo.app/Caf\u00e9", "x");
    const ToolResult zip =
        runTool({"sh", "-c", "cd \"$1\" && zip -qry Demo.zip Demo.app", "sh", folder.path().string()});
    ASSERT_EQ(zip.status, 0) << zip.output;
    const std::map<std::string, std::string> expected{
        {"Demo.app/", ""}, {"Demo.app/Info.plist", std::string(5000, 'p')}, {"Demo.app/Caf\u00e9", "x"}};
    EXPECT_EQ(contentOf(test::readText(folder / "Demo.zip")), expected);

    BuiltEntry plist = deflatedEntry("Info.plist", "<plist/>"); // as macOS writes it
    plist.hasDescriptor = true;
    EXPECT_EQ(contentOf(buildArchive({plist}))["Info.plist"], "<plist/>");
    std::string commented = buildArchive({{.name = "a", .data = "b"}});
    commented.replace(commented.size() - 2, 2, littleEndian(5, 2) + "hello");
    EXPECT_EQ(contentOf(commented)["a"], "b");
    EXPECT_TRUE(contentOf(buildArchive({})).empty());
}

TEST(ZipArchive, readsZIP64Fields) {
    BuiltEntry entry{.name = "a", .data = "four"};
    entry.size = entry.compressedSize = 0xFFFFFFFF;
    entry.extra = littleEndian(0x7777, 2) + littleEndian(1, 2) + "x" + littleEndian(1, 2) +
                  littleEndian(16, 2) + littleEndian(4, 8) + littleEndian(4, 8);
    EXPECT_EQ(contentOf(buildArchive({entry}))["a"], "four");
}

TEST(ZipArchive, readsMoreEntriesThanItsCountHolds) { // some writers let it wrap around
    const test::TemporaryFolder folder;
    const std::vector<BuiltEntry> many(66'000, BuiltEntry{.name = "a"});
    EXPECT_EQ(ZipArchive(folder.write("archive.zip", buildArchive(many))).entries().size(), many.size());
}

TEST(ZipArchive, namesWhatIsWrong) {
    BuiltEntry longer = deflatedEntry("a", std::string(10'000'000, '\0')); // than it says
    longer.size = 100;
    BuiltEntry shorter = deflatedEntry("a", "text");
    shorter.size = 5;
    BuiltEntry followed = deflatedEntry("a", "text");
    followed.data += "x";
    const std::pair<BuiltEntry, const char*> cases[] = {
        {{.name = "good", .localName = "evil"}, "Damaged"},
        {{.name = "a", .flags = 1}, "Encrypted"},
        {{.name = "a", .data = "x", .method = 14}, "Unsupported"},
        {{.name = "a", .data = "x", .crc = 1}, "Damaged"},
        {{.name = "a", .data = "xyz", .size = 4}, "Damaged"},
        {{.name = "a", .data = "\7\7\7", .method = 8, .size = 9}, "Damaged"},
        {{.name = "a", .data = "", .method = 8}, "Damaged"},
        {{.name = "a", .offset = 3}, "Damaged"},
        {{.name = "a", .compressedSize = 0xFFFFFF00}, "Damaged"},
        {{.name = "a", .size = 0xFFFFFFFF, .extra = "\1\0\0\0"s}, "Damaged"},
        {longer, "Damaged"},
        {shorter, "Damaged"},
        {followed, "Damaged"},
        {deflatedEntry("a", std::string((1u << 20) + 1, '\0')), "TooLarge"}};
    for (const auto& [entry, expected] : cases)
        EXPECT_EQ(contentOf(buildArchive({entry})), failure(expected));
}

TEST(ZipArchive, isRefusedAtEveryTruncationAndWithBytesAround) {
    const std::string archive = buildArchive({deflatedEntry("d/a", "some text, some text"),
                                              {.name = "inner.zip", .data = buildArchive({{.name = "x"}})}});
    ASSERT_EQ(contentOf(archive).size(), 2u);
    for (std::size_t length = 0; length < archive.size(); ++length)
        EXPECT_TRUE(contentOf(archive.substr(0, length)).contains("failure")) << "length " << length;
    EXPECT_EQ(contentOf(archive + "x"), failure("NotAnArchive"));
    EXPECT_EQ(contentOf("x" + archive), failure("Damaged"));
    for (std::size_t bit = 0; bit < archive.size() * 8; ++bit) {
        std::string damaged = archive;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        contentOf(damaged); // must not crash; many bits, such as those of times, mean nothing here
    }
}

TEST(ZipArchive, hidesControlCharactersOfNamesFromTheTerminal) {
    EXPECT_THAT(ZIPError(ZIPError::Encrypted{"\x1b[2Jevil\xFF"}).description(),
                testing::StartsWith("The entry \"?[2Jevil\uFFFD\" is encrypted."));
}

} // namespace
} // namespace halvo
