#include <DiskImage/DiskImageError.h>
#include <DiskImage/UDIFReader.h>
#include <DiskImage/UDIFWriter.h>
#include <Platform/Descriptor.h>
#include <Platform/Files.h>
#include <Platform/SystemProcessRunner.h>

#include "MemoryDisk.h"
#include "UDIFFormat.h"

#include <Support/CaseName.h>
#include <Support/TemporaryFolder.h>
#include <Support/Thrown.h>

#include <random>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::CaseName;
using test::MemoryDisk;
using testing::HasSubstr;
using testing::Not;
using udif::ChunkType;

constexpr std::size_t chunkSize = 1u << 20;

/// Zeros, text, noise and zeros: some 3.5 chunks, the last one short.
Bytes mixedDisk() {
    Bytes bytes(3 * chunkSize + 5 * 512);
    std::mt19937 noise(1);
    for (std::size_t index = chunkSize; index < 2 * chunkSize; ++index)
        bytes[index] = static_cast<std::uint8_t>(index / 1000);
    for (std::size_t index = 2 * chunkSize; index < 3 * chunkSize; ++index)
        bytes[index] = static_cast<std::uint8_t>(noise());
    return bytes;
}

PartitionMap noMap(const Bytes& disk) {
    return {.partitions = {{"whole disk", "Apple_HFS", 0, disk.size() / 512}}};
}

class UDIF : public testing::Test {
protected:
    test::TemporaryFolder folder;

    std::filesystem::path write(const Bytes& plain, const UDIFOptions& options) {
        const std::filesystem::path path = folder / "image.dmg";
        removeQuietly(path);
        const Descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
        MemoryDisk disk(plain);
        writeUDIF(disk, noMap(plain), file.get(), path, options);
        return path;
    }
};

class UDIFOfEveryKind : public UDIF, public testing::WithParamInterface<Compression> {};

TEST_P(UDIFOfEveryKind, comesBackAndSatisfiesAnotherReader) {
    const Bytes plain = mixedDisk();
    const std::filesystem::path path = write(plain, {.compression = GetParam(), .threads = 3});
    const Bytes image = readFile(path);
    EXPECT_LT(image.size(), chunkSize + chunkSize / 16) << "only the noise takes room";
    EXPECT_EQ(readFile(write(plain, {.compression = GetParam(), .threads = 1})), image);

    MemoryDisk file(image);
    ASSERT_TRUE(UDIFReader::recognizes(file));
    UDIFReader reader(file);
    reader.verify();
    Bytes read(reader.size());
    reader.read(0, read);
    EXPECT_EQ(read, plain);
    Bytes across(1000); // from the text into the noise
    reader.read(2 * chunkSize - 500, across);
    EXPECT_TRUE(std::equal(across.begin(), across.end(), plain.begin() + 2 * chunkSize - 500));

    const Environment environment;
    SystemProcessRunner runner(environment, ToolPaths(environment, ""));
    const ProcessResult tested =
        runner.run({.executable = "/usr/bin/7zz", .arguments = {"t", "-tdmg", path.string()}});
    EXPECT_TRUE(tested.succeeded()) << tested.standardOutput << tested.standardError;
    EXPECT_THAT(tested.standardOutput, Not(HasSubstr("WARNING")));
    EXPECT_THAT(tested.standardOutput, Not(HasSubstr("ERROR")));
}

INSTANTIATE_TEST_SUITE_P(Compressions, UDIFOfEveryKind, testing::Values(Compression::zlib, Compression::lzma),
                         [](const auto& row) { return row.param == Compression::zlib ? "zlib" : "lzma"; });

TEST_F(UDIF, noticesFlippedBits) {
    Bytes plain(8 * 512);
    for (std::size_t index = 0; index < 2000; ++index)
        plain[index] = static_cast<std::uint8_t>(index * index / 7);
    const Bytes image = readFile(write(plain, {.compression = Compression::zlib}));
    const udif::Trailer trailer = udif::readTrailer(ByteView(image).last(512));
    int noticed = 0;
    for (std::size_t index = 0; index < trailer.dataForkSize; index += 5) {
        MemoryDisk file(image);
        file.bytes[index] ^= 0x10;
        UDIFReader reader(file);
        try {
            reader.verify();
            Bytes read(plain.size());
            reader.read(0, read);
            EXPECT_EQ(read, plain) << "the bit at " << index << " is more than padding";
        } catch (const DiskImageError&) {
            ++noticed;
        }
    }
    EXPECT_GT(noticed, 100);
}

TEST_F(UDIF, refusesEveryTruncation) {
    const Bytes image = readFile(write(Bytes(4096, 7), {.compression = Compression::zlib}));
    for (std::size_t length = 0; length < image.size(); length += 7) {
        Bytes rest(image.end() - static_cast<std::ptrdiff_t>(length), image.end());
        MemoryDisk file(std::move(rest));
        EXPECT_THROW(UDIFReader reader(file), Failure) << length;
    }
}

/// An image of one table, with whatever chunks.
Bytes imageOf(const udif::Table& table, const Bytes& data) {
    Bytes image = data;
    const Bytes list = udif::writePropertyList({table}, false);
    image.insert(image.end(), list.begin(), list.end());
    const Bytes trailer = udif::writeTrailer({.dataForkSize = data.size(),
                                              .propertyListOffset = data.size(),
                                              .propertyListSize = list.size(),
                                              .sectorCount = table.sectorCount});
    image.insert(image.end(), trailer.begin(), trailer.end());
    return image;
}

struct BadTable {
    const char* name;
    std::uint64_t sectorCount;
    std::vector<udif::Chunk> chunks;
    const char* message;
};

class UDIFTables : public testing::TestWithParam<BadTable> {};

TEST_P(UDIFTables, areCheckedBeforeTheyAreUsed) {
    const BadTable& row = GetParam();
    const Bytes image = imageOf({.sectorCount = row.sectorCount, .chunks = row.chunks}, Bytes(2048));
    EXPECT_THAT(test::descriptionThrown<Failure>([&] {
                    MemoryDisk file(image);
                    UDIFReader reader(file);
                    Bytes first(512);
                    reader.read(0, first);
                }),
                HasSubstr(row.message));
}

constexpr std::uint64_t huge = ~std::uint64_t{0};

INSTANTIATE_TEST_SUITE_P(
    Cases, UDIFTables,
    testing::Values(
        BadTable{"gap", 4, {{ChunkType::raw, 1, 3, 0, 1536}}, "do not follow each other"},
        BadTable{
            "overlap", 4, {{ChunkType::zero, 0, 3}, {ChunkType::zero, 2, 2}}, "do not follow each other"},
        BadTable{"missingEnd", 4, {{ChunkType::raw, 0, 3, 0, 1536}}, "do not cover"},
        BadTable{"wrappingCount", 4, {{ChunkType::zero, 0, huge}}, "do not follow each other"},
        BadTable{"impossibleSize", huge, {{ChunkType::zero, 0, huge}}, "impossible"},
        BadTable{"offsetPastEnd", 4, {{ChunkType::raw, 0, 4, 1u << 20, 2048}}, "outside of the file"},
        BadTable{"wrappingOffset", 4, {{ChunkType::zlib, 0, 4, huge, 2}}, "outside of the file"},
        BadTable{"shortRaw", 4, {{ChunkType::raw, 0, 4, 0, 512}}, "too short"},
        BadTable{"bomb", 1u << 30, {{ChunkType::lzma, 0, 1u << 30, 0, 100}}, "too large"},
        BadTable{"noStream", 4, {{ChunkType::bzip2, 0, 4, 0, 100}}, "cannot be decompressed"},
        BadTable{"unknownType", 4, {{ChunkType(0x80000009), 0, 4, 0, 100}}, "cannot be decompressed"},
        BadTable{"lzfse", 4, {{ChunkType::lzfse, 0, 4, 0, 100}}, "install the package 7zip"}),
    CaseName());

TEST(UDIFSpace, mayBeLeftOut) {
    Bytes data(512, 9);
    MemoryDisk file(imageOf(
        {.sectorCount = 4, .chunks = {{ChunkType::ignored, 0, 3}, {ChunkType::raw, 3, 1, 0, 512}}}, data));
    UDIFReader reader(file);
    Bytes read(2048);
    reader.read(0, read);
    EXPECT_EQ(read[1535], 0);
    EXPECT_EQ(read[1536], 9);
    EXPECT_THROW(reader.read(1, read), hfsplus::HFSPlusError);
}

} // namespace
} // namespace halvo
