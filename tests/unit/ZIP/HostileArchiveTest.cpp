#include <ZIP/ExtractZip.h>

#include "ArchiveBuilder.h"

#include <Support/CaseName.h>
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

struct HostileCase {
    const char* name;
    const char* expected;
    std::vector<BuiltEntry> entries;
};
class HostileArchive : public testing::TestWithParam<HostileCase> {};

TEST_P(HostileArchive, isRefusedByName) {
    EXPECT_EQ(outcome(buildArchive(GetParam().entries)), GetParam().expected);
}

BuiltEntry link(std::string name, std::string target) {
    return {.name = std::move(name), .data = std::move(target), .mode = linkMode};
}

INSTANTIATE_TEST_SUITE_P(
    Names, HostileArchive,
    testing::Values(
        HostileCase{"parent", "UnsafeName", {{.name = "../evil"}}},
        HostileCase{"parentInside", "UnsafeName", {{.name = "a/../../evil"}}},
        HostileCase{"parentAlone", "UnsafeName", {{.name = "..", .mode = folderMode}}},
        HostileCase{"absolute", "UnsafeName", {{.name = "/tmp/evil"}}},
        HostileCase{"backslash", "UnsafeName", {{.name = "..\\evil"}}},
        HostileCase{"zeroByte", "UnsafeName", {{.name = "good\0evil"s}}},
        HostileCase{"notUTF8", "UnsafeName", {{.name = "caf\xE9"}}},
        HostileCase{"notUTF8ThoughFlagged", "UnsafeName", {{.name = "caf\xE9", .flags = 1 << 11}}},
        HostileCase{"empty", "UnsafeName", {{.name = ""}}},
        HostileCase{"longComponent", "UnsafeName", {{.name = std::string(300, 'n')}}},
        HostileCase{"longPath", "UnsafeName", {{.name = fmt::format("{:a>4200}", "/b")}}},
        HostileCase{"otherNameInside", "Damaged", {{.name = "good", .localName = "evil"}}},
        HostileCase{"twice", "Conflict", {{.name = "a"}, {.name = "a"}}},
        HostileCase{"twiceSpelledDifferently", "Conflict", {{.name = "d/a"}, {.name = "d/./a"}}},
        HostileCase{"belowAFile", "Conflict", {{.name = "a/b"}, {.name = "a"}, {.name = "a!"}}},
        HostileCase{"fileAndFolder", "Conflict", {{.name = "a"}, {.name = "a/", .mode = folderMode}}},
        HostileCase{"belowALink", "Conflict", {link("a", "b"), {.name = "a/c"}}}),
    test::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Links, HostileArchive,
    testing::Values(HostileCase{"absolute", "UnsafeLink", {link("a", "/etc")}},
                    HostileCase{"outside", "UnsafeLink", {link("d/a", "../../x")}},
                    HostileCase{"outsideAndBack", "UnsafeLink", {link("a", "../folder/b")}},
                    HostileCase{"chain", "UnsafeLink", {link("d/up", ".."), link("d/a", "up/../x")}},
                    HostileCase{
                        "throughADeepLink",
                        "UnsafeLink",
                        {link("short", "d"), link("d/e/up", "../../short"), link("a", "d/e/up/../../x")}},
                    HostileCase{"circle", "UnsafeLink", {link("a", "b"), link("b", "a")}},
                    HostileCase{"itself", "UnsafeLink", {link("a", "a/b")}},
                    HostileCase{"empty", "UnsafeLink", {link("a", "")}},
                    HostileCase{"zeroByte", "UnsafeLink", {link("a", "b\0c"s)}},
                    HostileCase{"long", "UnsafeLink", {link("a", std::string(5000, 't'))}}),
    test::CaseName());

INSTANTIATE_TEST_SUITE_P(
    Content, HostileArchive,
    testing::Values(
        HostileCase{"encrypted", "Encrypted", {{.name = "a", .flags = 1}}},
        HostileCase{"maskedHeaders", "Encrypted", {{.name = "a", .flags = 1 << 13}}},
        HostileCase{"unknownMethod", "Unsupported", {{.name = "a", .data = "x", .method = 14}}},
        HostileCase{"device", "Unsupported", {{.name = "a", .mode = 0020644}}},
        HostileCase{"pipe", "Unsupported", {{.name = "a", .mode = 0010644}}},
        HostileCase{"wrongChecksum", "Damaged", {{.name = "before"}, {.name = "a", .data = "x", .crc = 1}}},
        HostileCase{"storedLonger", "Damaged", {{.name = "a", .data = "xyz", .size = 2}}},
        HostileCase{"storedShorter", "Damaged", {{.name = "a", .data = "xyz", .size = 4}}},
        HostileCase{"notDeflate", "Damaged", {{.name = "a", .data = "\7\7\7", .method = 8, .size = 9}}},
        HostileCase{"deflateWithoutEnd", "Damaged", {{.name = "a", .data = "", .method = 8}}},
        HostileCase{"folderWithContent", "Damaged", {{.name = "d/", .data = "x", .mode = folderMode}}},
        HostileCase{"fileNamedLikeAFolder", "Damaged", {{.name = "d/"}}},
        HostileCase{"overlapping", "Damaged", {{.name = "a", .data = "xyz"}, {.name = "b", .offset = 3}}},
        HostileCase{"sharedBytes", "Damaged", {{.name = "a"}, {.name = "b", .offset = 0, .localName = "a"}}},
        HostileCase{"pastTheEnd", "Damaged", {{.name = "a", .offset = 0xFFFFFF00}}},
        HostileCase{"largerThanTheArchive", "Damaged", {{.name = "a", .compressedSize = 0xFFFFFF00}}},
        HostileCase{
            "missingZIP64Field", "Damaged", {{.name = "a", .size = 0xFFFFFFFF, .extra = "\1\0\0\0"s}}}),
    test::CaseName());

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
