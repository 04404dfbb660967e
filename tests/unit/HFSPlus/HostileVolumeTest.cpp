#include "SampleVolume.h"
#include "TreeBuilder.h"

#include <Base/BinaryReader.h>
#include <Base/BinaryWriter.h>
#include <Platform/Files.h>
#include <Support/CaseName.h>
#include <Support/TemporaryFolder.h>

#include <algorithm>
#include <functional>

#include <gtest/gtest.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using namespace hfsplus;
using test::TemporaryFolder;

/// A volume in memory that can be damaged by name.
struct Image final : BlockSource {
    explicit Image(const TemporaryFolder& folder) {
        SampleVolume::write(VolumeContents(folder / "source"), folder / "image", 1 << 20);
        bytes = readFile(folder / "image");
    }
    std::uint64_t size() const override { return bytes.size(); }
    void read(std::uint64_t offset, std::span<std::uint8_t> into) override {
        const ByteView piece = BinaryReader(bytes).block(offset, into.size()).readBytes(into.size());
        std::copy(piece.begin(), piece.end(), into.begin());
    }
    std::uint32_t number(std::size_t offset) const {
        return BinaryReader(bytes).block(offset, 4).readUInt32();
    }
    void put(std::size_t offset, ByteView value) {
        std::copy(value.begin(), value.end(), bytes.begin() + static_cast<std::ptrdiff_t>(offset));
    }
    void put(std::size_t offset, std::uint32_t value) {
        BinaryWriter writer;
        writer.writeUInt32(value);
        put(offset, writer.bytes());
    }
    /// Of the first leaf of the catalog.
    std::size_t leaf() const {
        const std::size_t catalog = std::size_t{number(1024 + 272 + 16)} * 4096;
        return catalog + std::size_t{number(catalog + 24)} * 4096;
    }
    /// Where the record of the item of that name begins; its name ends there, its parent's number 6 bytes
    /// before.
    std::size_t record(std::u16string_view name) const {
        BinaryWriter pattern;
        pattern.writeUInt16(static_cast<std::uint16_t>(name.size()));
        pattern.writeUTF16String(name);
        pattern.writeUInt8(0); // of the record's kind; a thread's name ends its record
        const Bytes& wanted = pattern.bytes();
        const auto found = std::search(bytes.begin(), bytes.end(), wanted.begin(), wanted.end());
        return static_cast<std::size_t>(found - bytes.begin()) + wanted.size() - 1;
    }
    /// Makes the first record of the leaf one byte shorter, and its key end where the record ends.
    void fillFirstRecordWithItsKey() {
        const std::size_t secondOffset = leaf() + 4096 - 4;
        const std::size_t end = BinaryReader(bytes).block(secondOffset, 2).readUInt16() - 1U;
        constexpr std::size_t begin = 14; // behind the node's descriptor
        BinaryWriter offset;
        offset.writeUInt16(static_cast<std::uint16_t>(end));
        put(secondOffset, offset.bytes());
        BinaryWriter keyLength;
        keyLength.writeUInt16(static_cast<std::uint16_t>(end - begin - 2));
        put(leaf() + begin, keyLength.bytes());
    }
    void rename(std::u16string_view name, std::u16string_view other) {
        BinaryWriter writer;
        writer.writeUTF16String(other);
        put(record(name) - writer.size(), writer.bytes());
    }

    Bytes bytes;
};

struct Hostile : testing::Test {
    Hostile() {
        folder.write("source/ab", std::string(3 * 4096, 'd'));
        folder.write("source/cd/ef", "content");
        folder.write("source/zzzzHFS+ Private Data/iNode33", "linked");
        folder.write("source/gh", "link");
        folder.write("source/ij", "link");
        fs::create_symlink("target", folder / "source/kl");
        fs::create_directory(unfolded);
    }
    CatalogIDs unfold(Image& image) { return VolumeReader(image, 0, image.size()).unfold(unfolded); }

    TemporaryFolder folder;
    fs::path unfolded = folder / "unfolded";
};

struct DamageCase {
    std::string_view name;
    std::function<void(Image&)> damage;
    std::size_t problem; ///< one of those below
};

/// Indexes in HFSPlusError::Case.
constexpr std::size_t notAVolume = 0;
constexpr std::size_t damaged = 1;
constexpr std::size_t unsupported = 2;
constexpr std::size_t unsafeName = 3;

struct HostileVolume : Hostile, testing::WithParamInterface<DamageCase> {};

TEST_P(HostileVolume, isRefusedAndLeavesNothing) {
    Image image(folder);
    GetParam().damage(image);
    try {
        unfold(image);
        ADD_FAILURE() << "nothing was thrown";
    } catch (const HFSPlusError& error) {
        EXPECT_EQ(error.which.index(), GetParam().problem) << error.what();
    }
    EXPECT_TRUE(fs::is_empty(unfolded));
}

std::uint32_t idOf(const Image& image, std::u16string_view name) {
    return image.number(image.record(name) + 8);
}

INSTANTIATE_TEST_SUITE_P(
    Volumes, HostileVolume,
    testing::Values(
        DamageCase{"noSignature", [](Image& image) { image.put(1024, 0); }, notAVolume},
        DamageCase{"caseSensitive", [](Image& image) { image.put(1024, 0x48580005); }, unsupported},
        DamageCase{"plainHFS", [](Image& image) { image.put(1024, 0x42440000); }, unsupported},
        DamageCase{"blocksOfNoSize", [](Image& image) { image.put(1024 + 40, 0); }, damaged},
        DamageCase{"moreBlocksThanBytes", [](Image& image) { image.put(1024 + 44, 0xFFFFFFFF); }, damaged},
        DamageCase{"catalogPastTheEnd", [](Image& image) { image.put(1024 + 272 + 16, 256); }, damaged},
        DamageCase{"leavesInACircle", [](Image& image) { image.put(image.leaf(), 1); }, damaged},
        DamageCase{"leafThatIsNone", [](Image& image) { image.bytes[image.leaf() + 8] = 0; }, damaged},
        DamageCase{"tooManyRecords", [](Image& image) { image.bytes[image.leaf() + 10] = 0xFF; }, damaged},
        DamageCase{"recordsOverlap", [](Image& image) { image.bytes[image.leaf() + 4095 - 2] = 0; }, damaged},
        DamageCase{"oddKeyThatFillsItsRecord", [](Image& image) { image.fillFirstRecordWithItsKey(); },
                   damaged},
        DamageCase{"dots", [](Image& image) { image.rename(u"ab", u".."); }, unsafeName},
        DamageCase{"slash", [](Image& image) { image.rename(u"ab", u":a"); }, unsafeName},
        DamageCase{"loneSurrogate", [](Image& image) { image.rename(u"kl", u"k\xD800"); }, unsafeName},
        DamageCase{"sameName", [](Image& image) { image.rename(u"cd", u"ab"); }, damaged},
        DamageCase{"sameNumber", [](Image& image) { image.put(image.record(u"gh") + 8, idOf(image, u"ab")); },
                   damaged},
        DamageCase{"folderInItself",
                   [](Image& image) { image.put(image.record(u"ef") - 10, idOf(image, u"ef")); }, damaged},
        DamageCase{"fileAsFolder",
                   [](Image& image) {
                       // The folder gets another number, so that what is in it lies in nothing.
                       image.put(image.record(u"cd") + 8, 4000);
                   },
                   damaged},
        DamageCase{"moreBytesThanBlocks", [](Image& image) { image.put(image.record(u"ab") + 88, 1); },
                   damaged},
        DamageCase{"blocksMissing", [](Image& image) { image.put(image.record(u"ab") + 88 + 20, 1); },
                   damaged},
        DamageCase{"blocksPastTheEnd", [](Image& image) { image.put(image.record(u"ab") + 88 + 16, 255); },
                   damaged},
        DamageCase{"device", [](Image& image) { image.bytes[image.record(u"ab") + 42] = 0x61; }, unsupported},
        DamageCase{"compressedFile", [](Image& image) { image.bytes[image.record(u"ab") + 41] = 0x20; },
                   unsupported},
        DamageCase{"linkToNowhere", [](Image& image) { image.put(image.record(u"kl") + 88 + 4, 0); },
                   damaged},
        DamageCase{"hardLinkToNowhere",
                   [](Image& image) { image.put(image.record(u"ab") + 48, copyBytes("hlnkhfs+")); },
                   damaged}),
    test::CaseName());

TEST_F(Hostile, limitsAreKept) {
    Image image(folder);
    EXPECT_THROW(VolumeReader(image, 0, image.size(), {.items = 5}), HFSPlusError);
    EXPECT_THROW(VolumeReader(image, 0, image.size(), {.totalSize = 12'000}), HFSPlusError);
    for (std::uint64_t length = 0; length < image.size(); length += 509)
        EXPECT_THROW(VolumeReader(image, 0, length), HFSPlusError) << length;
    EXPECT_THROW(VolumeReader(image, 1, image.size()), HFSPlusError);
    folder.write("unfolded/there", "already");
    EXPECT_THROW(unfold(image), FileError);
    EXPECT_TRUE(fs::exists(unfolded / "there"));
}

TEST_F(Hostile, filesInManyPiecesAreWhole) {
    Image image(folder);
    const std::size_t fork = image.record(u"ab") + 88;
    const std::uint32_t first = image.number(fork + 16);
    image.bytes[std::size_t{first} * 4096] = '1';
    image.bytes[std::size_t{first + 2} * 4096] = '3';
    image.put(fork + 20, 1); // of three blocks; the others stand in the tree of further extents
    TreeBuilder tree({.longestKey = 10, .attributes = 2});
    for (const std::uint32_t block : {1u, 2u}) {
        BinaryWriter key;
        key.writeUInt16(10);
        key.writeUInt16(0); // data fork
        key.writeUInt32(idOf(image, u"ab"));
        key.writeUInt32(block);
        BinaryWriter extents;
        extents.writeUInt32(first + block);
        extents.writeUInt32(1);
        extents.writeZeros(56);
        tree.add(key.bytes(), extents.bytes());
    }
    const std::uint32_t free = 250; // blocks that nothing else uses
    image.put(std::size_t{free} * 4096, tree.finish());
    image.put(1024 + 192 + 4, 2 * 4096);
    image.put(1024 + 192 + 12, 2);
    image.put(1024 + 192 + 16, free);
    image.put(1024 + 192 + 20, 2);
    unfold(image);
    const std::string text = test::readText(unfolded / "ab");
    ASSERT_EQ(text.size(), 3u * 4096);
    EXPECT_EQ(text.substr(0, 2) + text.substr(8192, 2), "1d3d");
}

TEST_F(Hostile, hardLinksBecomeHardLinks) {
    Image image(folder);
    for (const auto* name : {u"gh", u"ij"}) {
        image.put(image.record(name) + 44, 33);
        image.put(image.record(name) + 48, copyBytes("hlnkhfs+"));
    }
    using namespace std::string_view_literals;
    image.rename(u"zzzzHFS+ Private Data", u"\0\0\0\0HFS+ Private Data"sv);
    CatalogIDs ids = unfold(image);
    EXPECT_EQ(test::readText(unfolded / "ij"), "linked");
    EXPECT_TRUE(fs::equivalent(unfolded / "gh", unfolded / "ij"));
    EXPECT_EQ(ids["ij"], idOf(image, u"ij"));
    EXPECT_EQ(std::distance(fs::directory_iterator(unfolded), {}), 5) << "without the folder of linked files";
}

} // namespace
} // namespace halvo
