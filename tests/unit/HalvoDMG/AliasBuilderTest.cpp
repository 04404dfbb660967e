#include "FakeVolumeFacts.h"

#include <Base/BinaryReader.h>
#include <Base/Unicode.h>
#include <HalvoDMG/AliasBuilder.h>

#include <Support/CaseName.h>
#include <Support/TemporaryFolder.h>

#include <map>

#include <sys/stat.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::FakeVolumeFacts;
using test::StoppedClock;

const Date someDay = *parseISO8601("2026-01-02T03:04:05Z");

struct ReadAlias {
    std::string volumeName, fileName;
    std::map<unsigned, Bytes> tags;
};

std::string pascalString(BinaryReader reader, std::size_t fieldSize) {
    const std::size_t length = reader.readUInt8();
    EXPECT_LT(length, fieldSize);
    std::string text(viewText(reader.readBytes(length)));
    for (const std::uint8_t byte : reader.readBytes(fieldSize - 1 - length))
        EXPECT_EQ(byte, 0);
    return text;
}

/// Takes a record apart; every byte must be accounted for.
ReadAlias readAlias(const Bytes& record) {
    const BinaryReader whole(record);
    EXPECT_EQ(whole.block(4, 2).readUInt16(), record.size());
    ReadAlias alias{.volumeName = pascalString(whole.block(10, 28), 28),
                    .fileName = pascalString(whole.block(50, 64), 64)};
    BinaryReader tags = whole.block(150, record.size() - 150);
    while (true) {
        EXPECT_EQ(tags.position() % 2, 0u);
        const unsigned tag = tags.readUInt16();
        const std::size_t length = tags.readUInt16();
        if (tag == 0xFFFF) {
            EXPECT_EQ(length, 0u);
            EXPECT_TRUE(tags.atEnd());
            return alias;
        }
        const ByteView data = tags.readBytes(length);
        alias.tags[tag].assign(data.begin(), data.end());
        if (length % 2 == 1) {
            EXPECT_EQ(tags.readUInt8(), 0);
        }
    }
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
    const std::string zeros(128, '0');
    EXPECT_EQ(toHex(alias.encode()), "00000000"
                                     "00e2"
                                     "0002"
                                     "0000"
                                     "0444656d6f" +
                                         zeros.substr(0, 46) +
                                         "e57ce625"
                                         "482b"
                                         "0000"
                                         "11223344"
                                         "086267c3a92e706e67" +
                                         zeros.substr(0, 110) +
                                         "55667788"
                                         "7c25b080"
                                         "00000000"
                                         "00000000"
                                         "ffff"
                                         "ffff"
                                         "00000000"
                                         "0000"
                                         "00000000000000000000"
                                         "000e"
                                         "0010"
                                         "0007"
                                         "0062006700e9002e0070006e0067"
                                         "000f"
                                         "000a"
                                         "0004"
                                         "00440065006d006f"
                                         "0012"
                                         "000e"
                                         "2f2e6261636b67726f756e642f78"
                                         "0013"
                                         "000f"
                                         "2f566f6c756d65732f44656d6f2031"
                                         "00"
                                         "ffff"
                                         "0000");
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
    const ReadAlias read = readAlias(alias.encode());
    EXPECT_EQ(read.volumeName, row.inVolumeField);
    EXPECT_EQ(read.fileName, row.inFileField);
    EXPECT_EQ(BinaryReader(read.tags.at(14)).readUInt16(), encodeUTF16(row.text)->size()); // never cut here
    EXPECT_EQ(read.tags.at(15), read.tags.at(14));
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

TEST(SystemVolumeFacts, describeAFolder) {
    const test::TemporaryFolder folder;
    const std::filesystem::path file = folder.write("Disk/.background/bg.png", "picture");
    const std::filesystem::path mount = folder / "Disk";
    struct stat status {};
    ASSERT_EQ(::stat(file.c_str(), &status), 0);

    const SystemVolumeFacts facts;
    EXPECT_EQ(facts.info(mount).name, "Disk");
    EXPECT_EQ(facts.info(mount / "").name, "Disk");
    EXPECT_EQ(facts.info(mount).createDate, facts.creationDate(mount).value_or(Date()));
    EXPECT_EQ(facts.info("/none/Gone"), (VolumeFacts::Info{.name = "Gone", .createDate = Date()}));
    EXPECT_EQ(facts.fileID(file), status.st_ino);
    EXPECT_THROW((void)facts.fileID(mount / "none"), FileError);
    EXPECT_THROW((void)facts.creationDate(mount / "none"), FileError);
    if (const std::optional<Date> date = facts.creationDate(file)) {
        const Date now = SystemClock().now();
        EXPECT_LE(*date, now + std::chrono::seconds(1));
        EXPECT_GE(*date, now - std::chrono::minutes(10));
    }
}

} // namespace
} // namespace halvo
