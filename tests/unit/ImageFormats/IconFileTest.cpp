#include <ImageFormats/IconFile.h>

#include "TestIcons.h"

#include <Support/CaseName.h>

#include <gmock/gmock.h>

namespace halvo {
namespace {

/// The pixel at an index, as eight hexadecimal digits: red, green, blue, alpha.
std::string pixelAt(const Picture& picture, std::size_t index) {
    return toHex(ByteView(picture.pixels).subspan(4 * index, 4));
}

Bytes packedPlanes(std::size_t plane, const std::vector<std::uint8_t>& values) {
    Bytes packed;
    for (const std::uint8_t value : values)
        appendRuns(packed, plane, value);
    return packed;
}

Bytes concatenated(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

struct PlaneCase {
    const char* name;
    unsigned side;
    std::vector<IconElement> elements;
    const char* pixel;
};
class IconPlanes : public testing::TestWithParam<PlaneCase> {};

TEST_P(IconPlanes, areDecoded) {
    const Bytes icon = buildIcon(GetParam().elements);
    const std::vector<IconPicture> pictures = listIconPictures(icon);
    ASSERT_EQ(pictures.size(), 1u);
    EXPECT_EQ(pictures[0].width, GetParam().side);
    const auto picture = decodeIconPicture(pictures[0]);
    ASSERT_TRUE(picture);
    ASSERT_EQ(picture->pixels.size(), std::size_t{4} * GetParam().side * GetParam().side);
    EXPECT_EQ(pixelAt(*picture, 0), GetParam().pixel);
    EXPECT_EQ(pixelAt(*picture, std::size_t{GetParam().side} * GetParam().side - 1), GetParam().pixel);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, IconPlanes,
    testing::Values(
        PlaneCase{
            "withMask", 16, {{"is32", packedPlanes(256, {1, 2, 3})}, {"s8mk", Bytes(256, 0x80)}}, "01020380"},
        PlaneCase{
            "maskFirst", 32, {{"l8mk", Bytes(1024, 7)}, {"il32", packedPlanes(1024, {1, 2, 3})}}, "01020307"},
        PlaneCase{"withoutMask", 48, {{"ih32", packedPlanes(2304, {1, 2, 3})}}, "010203ff"},
        PlaneCase{
            "maskOfWrongSize", 16, {{"is32", packedPlanes(256, {1, 2, 3})}, {"s8mk", Bytes(9)}}, "010203ff"},
        PlaneCase{
            "leadingZeros",
            128,
            {{"it32", concatenated(Bytes(4), packedPlanes(16384, {9, 8, 7}))}, {"t8mk", Bytes(16384, 1)}},
            "09080701"},
        PlaneCase{"alphaAmongThePlanes",
                  32,
                  {{"ic05", concatenated(copyBytes("ARGB"), packedPlanes(1024, {4, 1, 2, 3}))}},
                  "01020304"},
        PlaneCase{"smallIconOfSidebars",
                  18,
                  {{"icsb", concatenated(copyBytes("ARGB"), packedPlanes(324, {4, 1, 2, 3}))}},
                  "01020304"},
        PlaneCase{"notPacked", 16, {{"is32", Bytes(768, 5)}, {"s8mk", Bytes(256, 6)}}, "05050506"},
        PlaneCase{"newTypeOldContent",
                  16,
                  {{"icp4", packedPlanes(256, {1, 2, 3})}, {"s8mk", Bytes(256, 9)}},
                  "01020309"},
        PlaneCase{"pngInAnOldType", 3, {{"is32", solidPNG(3, {1, 2, 3, 255})}}, "010203ff"}),
    test::CaseName());

TEST(IconFile, unpacksLiteralsAndRunsAcrossPlanes) {
    // 128 literals, three times the same byte, then runs of 130: the first of these ends in the second plane.
    Bytes packed{127};
    for (unsigned value = 0; value < 128; ++value)
        packed.push_back(static_cast<std::uint8_t>(value));
    packed.insert(packed.end(), {128, 0xAA});
    for (const int value : {0x01, 0x02, 0x03, 0x04})
        packed.insert(packed.end(), {255, static_cast<std::uint8_t>(value)});
    appendRuns(packed, 768 - 128 - 3 - 4 * 130, 0x05);
    const auto picture = decodeIconPicture(listIconPictures(buildIcon({{"is32", packed}})).at(0));
    ASSERT_TRUE(picture);
    for (const auto& [index, pixel] : {std::pair{4, "040103ff"}, {5, "050203ff"}, {9, "090204ff"}})
        EXPECT_EQ(pixelAt(*picture, index), pixel);
    EXPECT_EQ(picture->pixels[4 * 127], 127);
    EXPECT_EQ(picture->pixels[4 * 128], 0xAA);
    EXPECT_EQ(picture->pixels[4 * 131], 0x01);
}

TEST(IconFile, refusesPlanesThatDoNotFit) {
    const Bytes whole = packedPlanes(256, {1, 2, 3});
    for (std::size_t length = 0; length < whole.size(); ++length) {
        const Bytes icon =
            buildIcon({{"is32", Bytes(whole.begin(), whole.begin() + static_cast<long>(length))}});
        EXPECT_FALSE(decodeIconPicture(listIconPictures(icon).at(0))) << "length " << length;
    }
    Bytes tooLong = packedPlanes(255, {1, 2, 3}); // three bytes short, then a run of 130
    tooLong.insert(tooLong.end(), {255, 0});
    EXPECT_FALSE(decodeIconPicture(listIconPictures(buildIcon({{"is32", tooLong}})).at(0)));
}

TEST(IconFile, listsOnlyWhatItCanDecode) {
    const Bytes jpeg2000{0x00, 0x00, 0x00, 0x0C, 0x6A, 0x50, 0x20, 0x20, 0x0D, 0x0A, 0x87, 0x0A};
    const Bytes icon = buildIcon({{"TOC ", Bytes(16)},
                                  {"ic08", jpeg2000},
                                  {"ic04", jpeg2000},
                                  {"ICN#", Bytes(256)},
                                  {"ic07", solidPNG(128, {1, 2, 3, 4})},
                                  {"icnV", Bytes(4)}});
    const std::vector<IconPicture> pictures = listIconPictures(icon);
    ASSERT_EQ(pictures.size(), 1u);
    EXPECT_EQ(pictures[0].width, 128u);
}

TEST(IconFile, refusesEveryTruncation) {
    const Bytes icon = buildIcon({{"ic11", solidPNG(32, {1, 2, 3, 4})}, {"s8mk", Bytes(40)}});
    ASSERT_EQ(listIconPictures(icon).size(), 1u);
    for (std::size_t length = 0; length < icon.size(); ++length)
        EXPECT_TRUE(listIconPictures(ByteView(icon).first(length)).empty()) << "length " << length;
}

} // namespace
} // namespace halvo
