#include <Base/BinaryReader.h>
#include <Toolbox/CodeSignature.h>
#include <Toolbox/MachO.h>
#include <Toolbox/SignedMessage.h>

#include <Support/SignedFiles.h>
#include <Support/TestData.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::arm64;
using test::codeDirectory;
using test::readTestData;
using test::signature;
using test::wrapped;
using test::x86_64;
using testing::IsEmpty;

Bytes message() { return readTestData("HalvoNotarization/signature.cms"); }
Bytes distributed() { return signature({{0, codeDirectory()}, {0x10000, wrapped(message())}}); }

const Bytes wholeSignature = distributed();

TEST(MachOFiles, giveTheSignatureOfEverySlice) {
    const struct {
        std::string_view name;
        Bytes file;
        std::vector<std::uint32_t> cpuTypes;
    } cases[] = {
        {"thin64LittleEndian", test::thinMachO(wholeSignature, {arm64, true, true}), {arm64}},
        {"thin64BigEndian", test::thinMachO(wholeSignature, {0x01000012, true, false}), {0x01000012}},
        {"thin32BigEndian", test::thinMachO(wholeSignature, {18, false, false}), {18}},
        {"universal",
         test::universalMachO({{x86_64, test::thinMachO(wholeSignature, {x86_64, true, true})},
                               {arm64, test::thinMachO(wholeSignature)}}),
         {x86_64, arm64}},
        {"universal64", test::universalMachO({{arm64, test::thinMachO(wholeSignature)}}, true), {arm64}}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const auto slices = readMachO(row.file);
        std::vector<std::uint32_t> cpuTypes;
        for (const MachOSlice& slice : slices) {
            cpuTypes.push_back(slice.cpuType);
            const auto region = findCodeSignature(slice);
            ASSERT_TRUE(region);
            EXPECT_EQ(readCodeSignature(*region).identifier, "com.example.Demo");
        }
        EXPECT_EQ(cpuTypes, row.cpuTypes);
    }
}

TEST(MachO, isOnlyWhatBeginsAsOne) {
    EXPECT_THAT(readMachO({}), IsEmpty());
    EXPECT_THAT(readMachO(viewBytes("#!/bin/sh\n")), IsEmpty());
    const Bytes javaClass{0xCA, 0xFE, 0xBA, 0xBE, 0, 0, 0, 52, 0, 0};
    EXPECT_THAT(readMachO(javaClass), IsEmpty());
    EXPECT_EQ(findCodeSignature(readMachO(test::thinMachO({})).front()), std::nullopt);
}

TEST(CodeSignature, takesTheStrongestCodeDirectory) {
    const Bytes weak = codeDirectory({.identifier = "weak", .hashType = 1});
    const Bytes strong = codeDirectory({.identifier = "strong", .hashType = 2});
    EXPECT_EQ(readCodeSignature(signature({{0, weak}, {0x1000, strong}})).identifier, "strong");
    EXPECT_EQ(readCodeSignature(signature({{0, strong}, {0x1000, weak}})).identifier, "strong");
}

TEST(CodeSignature, isAdHocWithoutAMessage) {
    const Bytes directory = codeDirectory({.team = "", .flags = 2});
    for (const Bytes& adHoc :
         {signature({{0, directory}}), signature({{0, directory}, {0x10000, wrapped({})}})}) {
        const CodeSignature read = readCodeSignature(adHoc);
        EXPECT_TRUE(read.isAdHoc());
        EXPECT_EQ(read.teamIdentifier, std::nullopt);
        EXPECT_THAT(read.authorities, IsEmpty());
    }
    EXPECT_EQ(readCodeSignature(signature({{0, codeDirectory({.version = 0x20100})}})).teamIdentifier,
              std::nullopt)
        << "older directories end before the team";
}

Bytes withWord(Bytes bytes, std::size_t offset, std::uint32_t value) {
    for (const int shift : {24, 16, 8, 0})
        bytes.at(offset++) = static_cast<std::uint8_t>(value >> shift);
    return bytes;
}

Bytes unterminated() {
    Bytes directory = codeDirectory({.team = ""});
    directory.back() = 'x';
    return directory;
}

TEST(DamagedSignature, isRefused) {
    const struct {
        std::string_view name;
        Bytes signature;
    } cases[] = {
        {"empty", {}},
        {"otherMagic", withWord(wholeSignature, 0, 0xFADE0CC1)},
        {"lengthPastTheEnd", withWord(wholeSignature, 4, 0xFFFFFFFF)},
        {"endlessIndex", withWord(wholeSignature, 8, 0xFFFFFFFF)},
        {"noCodeDirectory", signature({})},
        {"blobPastTheEnd", withWord(wholeSignature, 16, 0xFFFFFFF0)},
        {"identifierPastTheEnd", signature({{0, withWord(codeDirectory(), 20, 0xFFFF)}})},
        {"unterminatedIdentifier", signature({{0, unterminated()}})},
        {"messageThatIsNone", signature({{0, codeDirectory()}, {0x10000, wrapped(viewBytes("garbage"))}})}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        try {
            readCodeSignature(row.signature);
            ADD_FAILURE() << "it was read";
        } catch (const Failure& failure) { // of one of the two documented kinds
            EXPECT_TRUE(dynamic_cast<const CodeSignatureError*>(&failure) ||
                        dynamic_cast<const BinaryReadError*>(&failure));
        }
    }
}

TEST(CodeSignature, rejectsEveryTruncation) {
    const Bytes whole = test::thinMachO(wholeSignature);
    for (std::size_t length = 4; length < whole.size(); ++length)
        EXPECT_THROW(
            {
                const auto slices = readMachO(ByteView(whole).first(length));
                readCodeSignature(*findCodeSignature(slices.at(0)));
            },
            BinaryReadError)
            << "length " << length;
    const Bytes universal = test::universalMachO({{arm64, whole}});
    for (std::size_t length = 4; length < universal.size(); ++length)
        EXPECT_THROW(readMachO(ByteView(universal).first(length)), BinaryReadError) << "length " << length;
}

TEST(MachO, boundsItsLoadCommands) {
    const Bytes whole = test::thinMachO(wholeSignature, {arm64, true, false});
    const auto read = [](const Bytes& file) { return findCodeSignature(readMachO(file).front()); };
    EXPECT_THROW(read(withWord(whole, 36, 0)), BinaryReadError) << "a command of no size would never end";
    EXPECT_THROW(read(withWord(whole, 36, 0xFFFFFFFF)), BinaryReadError);
    EXPECT_THROW(read(withWord(whole, 20, 0xFFFFFFFF)), BinaryReadError)
        << "more commands than the file holds";
    EXPECT_THROW(read(withWord(withWord(whole, 56, 1), 16, 0xFFFFFFFF)), BinaryReadError)
        << "too many of them";
}

TEST(SignedMessage, givesTheContentOfBothEncodings) {
    const auto content = signedContent(readTestData("HalvoNotarization/developer-id.provisionprofile"));
    ASSERT_TRUE(content);
    EXPECT_TRUE(viewText(*content).starts_with("<?xml"));
    EXPECT_TRUE(viewText(*content).ends_with("</plist>\n"));
    EXPECT_EQ(signedContent(message()), std::nullopt) << "a detached signature carries none";
    EXPECT_EQ(signedContent(viewBytes("garbage")), std::nullopt);
    EXPECT_EQ(signedContent({}), std::nullopt);
}

} // namespace
} // namespace halvo
