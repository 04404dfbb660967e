#include <Base/BinaryReader.h>
#include <Base/Unicode.h>
#include <HalvoDMG/AliasBuilder.h>

#include <Support/FakeClock.h>
#include <Support/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace halvo {
namespace {

const Date someDay = *parseISO8601("2026-01-02T03:04:05Z");

std::string pascalString(BinaryReader reader, std::size_t fieldSize) {
    const std::size_t length = reader.readUInt8();
    EXPECT_LT(length, fieldSize);
    std::string text(viewText(reader.readBytes(length)));
    for (const std::uint8_t byte : reader.readBytes(fieldSize - 1 - length))
        EXPECT_EQ(byte, 0);
    return text;
}

std::string aliasError(const AliasBuilder& builder, const std::filesystem::path& mount,
                       const std::filesystem::path& target) {
    try {
        builder.makeFileAlias(mount, target);
        return "nothing";
    } catch (const DMGCreationError& error) {
        EXPECT_TRUE(error.is<DMGCreationError::AliasBuildFailed>());
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

TEST(CarbonAlias, cutsNamesBetweenCharacters) {
    const auto repeated = [](std::string_view letter, std::size_t count) {
        std::string all;
        for (std::size_t index = 0; index < count; ++index)
            all += letter;
        return all;
    };
    // The fields hold 27 and 63 bytes at most; the tags, of which the first begins at 150, whole names.
    for (const auto& [letter, count, inVolumeField, inFileField] : {std::tuple{"", 1u, 0u, 0u},
                                                                    {"a", 63u, 27u, 63u},
                                                                    {"a", 64u, 27u, 63u},
                                                                    {"\u00e9", 40u, 13u, 31u},
                                                                    {"\U0001F4BE", 20u, 6u, 15u}}) {
        const std::string name = repeated(letter, count);
        const Bytes record = CarbonAlias{.volumeName = name, .fileName = name, .pathInVolume = "/x"}.encode();
        const BinaryReader whole(record);
        EXPECT_EQ(pascalString(whole.block(10, 28), 28), repeated(letter, inVolumeField));
        EXPECT_EQ(pascalString(whole.block(50, 64), 64), repeated(letter, inFileField));
        EXPECT_EQ(whole.block(154, 2).readUInt16(), encodeUTF16(name)->size());
    }
}

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
    static std::uint32_t inode(const std::filesystem::path& path) {
        struct stat status {};
        EXPECT_EQ(::stat(path.c_str(), &status), 0);
        return static_cast<std::uint32_t>(status.st_ino);
    }

    test::TemporaryFolder folder;
    SystemVolumeFacts facts;
    test::FakeClock clock;
    AliasBuilder builder{facts, clock};
};

TEST_F(AliasBuilding, takesWhatTheVolumeSays) {
    const std::filesystem::path mount = folder / "Demo";
    for (const std::string place : {".background/bg.png", "bg.png"}) {
        const std::filesystem::path file = folder.write("Demo/" + place, "picture");
        const CarbonAlias expected{.volumeName = "Demo",
                                   .volumeCreationDate = facts.creationDate(mount).value_or(Date()),
                                   .fileName = "bg.png",
                                   .fileCreationDate = facts.creationDate(file).value_or(clock.now()),
                                   .parentID = inode(file.parent_path()),
                                   .fileID = inode(file),
                                   .pathInVolume = "/" + place,
                                   .mountPoint = mount};
        EXPECT_EQ(builder.makeFileAlias(mount, file), expected.encode());
        EXPECT_EQ(builder.makeFileAlias(mount / "", file), expected.encode());
    }
}

TEST_F(AliasBuilding, refusesWhatLiesElsewhere) {
    for (const char* target : {"/Volumes/Demo", "/Volumes/Demo 1/bg.png", "/Volumes", "bg.png"})
        EXPECT_EQ(aliasError(builder, "/Volumes/Demo", target),
                  std::string("Failed to build Carbon alias data: target path ") + target +
                      " is outside mounted volume /Volumes/Demo");
}

TEST_F(AliasBuilding, saysWhatTheFileSystemSaid) {
    const std::string file = folder / "none.png";
    EXPECT_EQ(aliasError(builder, folder.path(), file),
              "Failed to build Carbon alias data: getattrlist(FILEID) on " + file +
                  ": No such file or directory");
}

} // namespace
} // namespace halvo
