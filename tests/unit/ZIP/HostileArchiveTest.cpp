#include <ZIP/ExtractZip.h>

#include "ArchiveBuilder.h"

#include <Support/TemporaryFolder.h>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using namespace std::string_literals;
using test::TemporaryFolder;

constexpr std::uint32_t linkMode = 0120755;
constexpr std::uint32_t folderMode = 0040755;

std::string caseName(const ZIPError& error) {
    static constexpr const char* names[] = {"NotAnArchive", "Damaged",    "Encrypted", "Unsupported",
                                            "UnsafeName",   "UnsafeLink", "Conflict",  "TooLarge"};
    return error.which.index() < std::size(names) ? names[error.which.index()] : "another";
}

/// Unpacks inside a fresh folder; the case of the ZIPError, or "unpacked". What is left must be nothing,
/// inside and outside.
std::string outcome(const std::string& archive, const ExtractionOptions& options = {}) {
    const TemporaryFolder around;
    const fs::path file = around.write("archive.zip", archive);
    const fs::path folder = around / "folder";
    fs::create_directory(folder);
    std::string result = "unpacked";
    try {
        extractZip(file, folder, options);
    } catch (const ZIPError& error) {
        result = caseName(error);
        EXPECT_TRUE(fs::is_empty(folder)) << error.description();
    }
    EXPECT_EQ(std::distance(fs::directory_iterator(around.path()), {}), 2) << "something was made outside";
    return result;
}

BuiltEntry link(std::string name, std::string target) {
    return {.name = std::move(name), .data = std::move(target), .mode = linkMode};
}

TEST(HostileArchive, isRefusedByName) {
    const struct {
        const char* name;
        const char* expected;
        std::vector<BuiltEntry> entries;
    } cases[] = {{"parent", "UnsafeName", {{.name = "../evil"}}},
                 {"parentInside", "UnsafeName", {{.name = "a/../../evil"}}},
                 {"absolute", "UnsafeName", {{.name = "/tmp/evil"}}},
                 {"backslash", "UnsafeName", {{.name = "..\\evil"}}},
                 {"zeroByte", "UnsafeName", {{.name = "good\0evil"s}}},
                 {"notUTF8", "UnsafeName", {{.name = "caf\xE9"}}},
                 {"empty", "UnsafeName", {{.name = ""}}},
                 {"longPath", "UnsafeName", {{.name = fmt::format("{:a>4200}", "/b")}}},
                 {"otherNameInside", "Damaged", {{.name = "good", .localName = "evil"}}},
                 {"twice", "Conflict", {{.name = "a"}, {.name = "a"}}},
                 {"twiceSpelledDifferently", "Conflict", {{.name = "d/a"}, {.name = "d/./a"}}},
                 {"belowAFile", "Conflict", {{.name = "a/b"}, {.name = "a"}, {.name = "a!"}}},
                 {"fileAndFolder", "Conflict", {{.name = "a"}, {.name = "a/", .mode = folderMode}}},
                 {"belowALink", "Conflict", {link("a", "b"), {.name = "a/c"}}},
                 {"absolute", "UnsafeLink", {link("a", "/etc")}},
                 {"outside", "UnsafeLink", {link("d/a", "../../x")}},
                 {"outsideAndBack", "UnsafeLink", {link("a", "../folder/b")}},
                 {"chain", "UnsafeLink", {link("d/up", ".."), link("d/a", "up/../x")}},
                 {"throughADeepLink",
                  "UnsafeLink",
                  {link("short", "d"), link("d/e/up", "../../short"), link("a", "d/e/up/../../x")}},
                 {"circle", "UnsafeLink", {link("a", "b"), link("b", "a")}},
                 {"empty", "UnsafeLink", {link("a", "")}},
                 {"zeroByte", "UnsafeLink", {link("a", "b\0c"s)}},
                 {"long", "UnsafeLink", {link("a", std::string(5000, 't'))}},
                 {"encrypted", "Encrypted", {{.name = "a", .flags = 1}}},
                 {"unknownMethod", "Unsupported", {{.name = "a", .data = "x", .method = 14}}},
                 {"device", "Unsupported", {{.name = "a", .mode = 0020644}}},
                 {"wrongChecksum", "Damaged", {{.name = "before"}, {.name = "a", .data = "x", .crc = 1}}},
                 {"storedShorter", "Damaged", {{.name = "a", .data = "xyz", .size = 4}}},
                 {"notDeflate", "Damaged", {{.name = "a", .data = "\7\7\7", .method = 8, .size = 9}}},
                 {"deflateWithoutEnd", "Damaged", {{.name = "a", .data = "", .method = 8}}},
                 {"folderWithContent", "Damaged", {{.name = "d/", .data = "x", .mode = folderMode}}},
                 {"fileNamedLikeAFolder", "Damaged", {{.name = "d/"}}},
                 {"overlapping", "Damaged", {{.name = "a", .data = "xyz"}, {.name = "b", .offset = 3}}},
                 {"largerThanTheArchive", "Damaged", {{.name = "a", .compressedSize = 0xFFFFFF00}}},
                 {"missingZIP64Field", "Damaged", {{.name = "a", .size = 0xFFFFFFFF, .extra = "\1\0\0\0"s}}}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(outcome(buildArchive(row.entries)), row.expected);
    }
}

TEST(HostileArchives, mayBeLongerThanTheirDeclaredSize) {
    BuiltEntry bomb = deflatedEntry("bomb", std::string(10'000'000, '\0'));
    bomb.size = 100;
    EXPECT_EQ(outcome(buildArchive({bomb})), "Damaged");
}

TEST(HostileArchives, areHeldToTheLimits) {
    const BuiltEntry zeros = deflatedEntry("zeros", std::string(1'000'000, '\0'));
    const std::string archive = buildArchive({zeros, {.name = "a"}, {.name = "b"}});
    EXPECT_EQ(outcome(archive), "unpacked");
    EXPECT_EQ(outcome(archive, {.limits = {.totalSize = 999'999}}), "TooLarge");
    EXPECT_EQ(outcome(archive, {.limits = {.entries = 2}}), "TooLarge");
    EXPECT_EQ(outcome(archive, {.limits = {.unsuspiciousSize = 100'000}}), "TooLarge");
    EXPECT_EQ(outcome(archive, {.limits = {.unsuspiciousSize = 1'000'000}}), "unpacked");
    const auto isSmall = [](std::string_view path) { return path == "a"; };
    EXPECT_EQ(outcome(archive, {.limits = {.totalSize = 10}, .wanted = isSmall}), "unpacked");
}

TEST(HostileArchives, areRefusedForWhatIsNotWantedToo) {
    const auto wanted = [](std::string_view path) { return path == "good"; };
    for (const BuiltEntry& hostile :
         {BuiltEntry{.name = "../evil"}, link("a", "/etc"), BuiltEntry{.name = "good"}})
        EXPECT_NE(outcome(buildArchive({{.name = "good"}, hostile}), {.wanted = wanted}), "unpacked")
            << hostile.name;
}

TEST(HostileArchives, areRefusedAtEveryTruncationAndWithBytesBehind) {
    const std::string archive = buildArchive({deflatedEntry("d/a", "some text, some text"),
                                              {.name = "inner.zip", .data = buildArchive({{.name = "x"}})},
                                              link("l", "d/a")});
    ASSERT_EQ(outcome(archive), "unpacked");
    for (std::size_t length = 0; length < archive.size(); ++length)
        EXPECT_NE(outcome(archive.substr(0, length)), "unpacked") << "length " << length;
    EXPECT_EQ(outcome(archive + "x"), "NotAnArchive");
    EXPECT_EQ(outcome("x" + archive), "Damaged");
}

TEST(HostileArchives, neverCrashOnAFlippedBit) {
    const std::string archive =
        buildArchive({deflatedEntry("d/a", "some text, some text"), link("l", "d/a")});
    for (std::size_t bit = 0; bit < archive.size() * 8; ++bit) {
        std::string damaged = archive;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << (bit % 8)));
        outcome(damaged); // many bits, such as those of times, mean nothing here
    }
}

} // namespace
} // namespace halvo
