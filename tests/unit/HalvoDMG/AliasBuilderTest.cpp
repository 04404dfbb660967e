#include "FakeVolumeFacts.h"

#include <Base/BinaryReader.h>
#include <Base/Unicode.h>
#include <HalvoDMG/AliasBuilder.h>

#include <Support/CaseName.h>
#include <Support/TemporaryFolder.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::FakeVolumeFacts;
using test::StoppedClock;

const Date someDay = *parseISO8601("2026-01-02T03:04:05Z");

std::string pascalString(BinaryReader reader, std::size_t fieldSize) {
    const std::size_t length = reader.readUInt8();
    EXPECT_LT(length, fieldSize);
    std::string text(viewText(reader.readBytes(length)));
    for (const std::uint8_t byte : reader.readBytes(fieldSize - 1 - length))
        EXPECT_EQ(byte, 0);
    return text;
}

std::string aliasError(const AliasBuilder& builder, const char* mount, const char* target) {
    try {
        builder.makeFileAlias(mount, target);
        return "nothing";
    } catch (const DMGCreationError& error) {
        EXPECT_TRUE(std::holds_alternative<DMGCreationError::AliasBuildFailed>(error.which));
        return error.description();
    }
}

TEST(CarbonAlias, isLaidOutByteForByte) {
    const CarbonAlias alias{.volumeName = "Demo",
                            .volumeCreationDate = someDay,
                            .fileName = "bg\u00e9.png",
                            .fileCreationDate = Date(),
                            .parentID = 0x11223344,
                            .fileID = 0x55667788,
                            .pathInVolume = "/.background/x",
                            .mountPoint = "/Volumes/Demo 1"};
    const auto zeros = [](std::size_t bytes) { return std::string(2 * bytes, '0'); };
    EXPECT_EQ(
        toHex(alias.encode()),
        "0000000000e2000200000444656d6f" + zeros(23) + "e57ce625482b000011223344086267c3a92e706e67" +
            zeros(55) + "556677887c25b080" + zeros(8) + "ffffffff" + zeros(16) +
            "000e001000070062006700e9002e0070006e0067000f000a000400440065006d006f0012000e2f2e6261636b67726f756e642f780013000f2f566f6c756d65732f44656d6f203100ffff0000");
}

struct CutName {
    const char* name;
    std::string text;
    std::string inVolumeField; ///< 27 bytes at most
    std::string inFileField;   ///< 63 bytes at most
};
class CutNames : public testing::TestWithParam<CutName> {};

TEST_P(CutNames, endBetweenCharacters) {
    const CutName& row = GetParam();
    const CarbonAlias alias{
        .volumeName = row.text, .fileName = row.text, .pathInVolume = "/x", .mountPoint = "/m"};
    const Bytes record = alias.encode();
    const BinaryReader whole(record);
    EXPECT_EQ(pascalString(whole.block(10, 28), 28), row.inVolumeField);
    EXPECT_EQ(pascalString(whole.block(50, 64), 64), row.inFileField);
    EXPECT_EQ(whole.block(154, 2).readUInt16(), encodeUTF16(row.text)->size()); // never cut in the tags
}

std::string repeated(const std::string& text, std::size_t count) {
    std::string all;
    for (std::size_t index = 0; index < count; ++index)
        all += text;
    return all;
}

INSTANTIATE_TEST_SUITE_P(
    Lengths, CutNames,
    testing::Values(
        CutName{"empty", "", "", ""},
        CutName{"fits", std::string(27, 'a'), std::string(27, 'a'), std::string(27, 'a')},
        CutName{"oneMore", std::string(28, 'a'), std::string(27, 'a'), std::string(28, 'a')},
        CutName{"fillsTheFile", std::string(63, 'a'), std::string(27, 'a'), std::string(63, 'a')},
        CutName{"oneMoreForTheFile", std::string(64, 'a'), std::string(27, 'a'), std::string(63, 'a')},
        CutName{"twoBytes", repeated("\u00e9", 40), repeated("\u00e9", 13), repeated("\u00e9", 31)},
        CutName{"fourBytes", repeated("\U0001F4BE", 20), repeated("\U0001F4BE", 6),
                repeated("\U0001F4BE", 15)}),
    test::CaseName());

TEST(CarbonAlias, survivesNamesThatFitNowhere) {
    const CarbonAlias alias{.volumeName = std::string(70000, 'v'),
                            .fileName = "a\xff",
                            .pathInVolume = "/" + std::string(70000, 'p'),
                            .mountPoint = "/m"};
    const Bytes record = alias.encode();
    EXPECT_EQ(BinaryReader(record).block(4, 2).readUInt16(), 65535);
    const std::string_view text = viewText(record);
    EXPECT_EQ(text.substr(text.size() - 4), std::string_view("\xff\xff\0\0", 4));
}

TEST(HFSSeconds, countFrom1904AndStopAtTheEnds) {
    using std::chrono::seconds;
    EXPECT_EQ(hfsSeconds(Date()), 2082844800u);
    EXPECT_EQ(hfsSeconds(Date(seconds(-2082844800))), 0u);
    EXPECT_EQ(hfsSeconds(Date(seconds(-2082844801))), 0u);
    EXPECT_EQ(hfsSeconds(Date(seconds(2212122495))), 4294967295u);
    EXPECT_EQ(hfsSeconds(Date(seconds(2212122496))), 4294967295u);
    EXPECT_EQ(hfsSeconds(Date::min()), 0u);
    EXPECT_EQ(hfsSeconds(Date::max()), 4294967295u);
    EXPECT_EQ(hfsSeconds(Date(std::chrono::microseconds(999'999))), 2082844800u);
}

class AliasBuilding : public testing::Test {
protected:
    AliasBuilding() {
        volume.volume = {.name = "Demo", .createDate = someDay};
        volume.files = {{"/Volumes/Demo", {.id = 2}},
                        {"/Volumes/Demo/bg.png", {.id = 0x100000011}},
                        {"/Volumes/Demo/.background", {.id = 16}},
                        {"/Volumes/Demo/.background/bg.png", {.id = 17, .creationDate = someDay}}};
    }

    FakeVolumeFacts volume;
    StoppedClock clock;
    AliasBuilder builder{volume, clock};
};

TEST_F(AliasBuilding, takesTheVolumesOwnNumbers) {
    const CarbonAlias expected{.volumeName = "Demo",
                               .volumeCreationDate = someDay,
                               .fileName = "bg.png",
                               .fileCreationDate = someDay,
                               .parentID = 16,
                               .fileID = 17,
                               .pathInVolume = "/.background/bg.png",
                               .mountPoint = "/Volumes/Demo"};
    EXPECT_EQ(builder.makeFileAlias("/Volumes/Demo", "/Volumes/Demo/.background/bg.png"), expected.encode());
    EXPECT_EQ(builder.makeFileAlias("/Volumes/Demo/", "/Volumes/Demo/.background/bg.png"), expected.encode());
}

TEST_F(AliasBuilding, hasTheMountPointForAParentAndTheClockForADate) {
    clock.time = someDay;
    const CarbonAlias expected{.volumeName = "Demo",
                               .volumeCreationDate = someDay,
                               .fileName = "bg.png",
                               .fileCreationDate = someDay,
                               .parentID = 2,
                               .fileID = 0x11, // the low half
                               .pathInVolume = "/bg.png",
                               .mountPoint = "/Volumes/Demo"};
    EXPECT_EQ(builder.makeFileAlias("/Volumes/Demo", "/Volumes/Demo/bg.png"), expected.encode());
}

TEST_F(AliasBuilding, refusesWhatLiesElsewhere) {
    for (const char* target : {"/Volumes/Demo", "/Volumes/Demo 1/bg.png", "/Volumes", "bg.png"})
        EXPECT_EQ(aliasError(builder, "/Volumes/Demo", target),
                  std::string("Failed to build Carbon alias data: target path ") + target +
                      " is outside mounted volume /Volumes/Demo");
}

TEST_F(AliasBuilding, saysWhatTheFileSystemSaid) {
    EXPECT_EQ(aliasError(builder, "/Volumes/Demo", "/Volumes/Demo/none.png"),
              "Failed to build Carbon alias data: getattrlist(FILEID) on /Volumes/Demo/none.png: "
              "No such file or directory");
}

} // namespace
} // namespace halvo
