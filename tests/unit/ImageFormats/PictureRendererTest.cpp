#include <ImageFormats/PictureRenderer.h>

#include "TestIcons.h"

#include <Platform/ImageServices.h>

#include <gmock/gmock.h>

namespace halvo {
namespace {

constexpr std::array<std::uint8_t, 4> red{255, 0, 0, 255}, green{0, 255, 0, 255}, blue{0, 0, 255, 255};

/// The pixel in the middle of what is drawn; absent when nothing is.
std::optional<std::string> middleOf(const Bytes& image, unsigned size) {
    const auto png = renderAsPNG(image, size);
    if (!png)
        return std::nullopt;
    const auto picture = decodePNG(*png);
    EXPECT_TRUE(picture && picture->width == size && picture->height == size);
    return toHex(ByteView(picture->pixels).subspan(std::size_t{4} * (size / 2 * size + size / 2), 4));
}

TEST(PictureRenderer, takesTheSmallestThatIsLargeEnough) {
    const Bytes icon = buildIcon(
        {{"ic09", solidPNG(512, red)}, {"ic07", solidPNG(128, green)}, {"ic08", solidPNG(256, blue)}});
    EXPECT_EQ(middleOf(icon, 64), "00ff00ff");
    EXPECT_EQ(middleOf(icon, 128), "00ff00ff");
    EXPECT_EQ(middleOf(icon, 129), "0000ffff");
    EXPECT_EQ(middleOf(icon, 500), "ff0000ff");
    EXPECT_EQ(middleOf(icon, 1000), "ff0000ff");
}

TEST(PictureRenderer, goesOnToTheNextWhenOneIsDamaged) {
    Bytes cut = solidPNG(256, red);
    cut.resize(cut.size() / 2);
    Bytes flipped = solidPNG(512, red);
    flipped[flipped.size() / 2] ^= 0xFF;
    EXPECT_EQ(middleOf(buildIcon({{"ic08", cut}, {"ic09", flipped}, {"ic07", solidPNG(128, green)}}), 256),
              "00ff00ff");
    EXPECT_EQ(middleOf(buildIcon({{"ic08", cut}}), 256), std::nullopt);
}

TEST(PictureRenderer, decodesNothingThatClaimsToBeHuge) {
    Bytes bomb = solidPNG(16, red);
    std::fill_n(bomb.begin() + 16, 8, std::uint8_t{0x00});
    bomb[17] = bomb[21] = 0x0F; // 983,040 pixels a side
    EXPECT_EQ(middleOf(bomb, 256), std::nullopt);
    EXPECT_EQ(middleOf(buildIcon({{"ic10", bomb}, {"ic07", solidPNG(128, green)}}), 256), "00ff00ff");
}

TEST(PictureRenderer, keepsProportionsAndTransparency) {
    const Picture wide = fitPicture(solidPicture(40, 20, {200, 100, 50, 128}), 80);
    const auto pixel = [&wide](unsigned x, unsigned y) {
        return ByteView(wide.pixels).subspan(std::size_t{4} * (y * 80 + x), 4);
    };
    EXPECT_EQ(toHex(pixel(40, 18)), "00000000") << "above the picture";
    EXPECT_EQ(toHex(pixel(40, 61)), "00000000") << "below it";
    for (const auto& [x, y] : {std::pair{0u, 40u}, {79u, 40u}, {40u, 21u}, {40u, 58u}}) {
        EXPECT_NEAR(pixel(x, y)[0], 200, 2) << x << " " << y;
        EXPECT_NEAR(pixel(x, y)[2], 50, 2) << x << " " << y;
        EXPECT_NEAR(pixel(x, y)[3], 128, 1) << x << " " << y;
    }
}

TEST(PictureRenderer, averagesWhatItShrinks) { // a chequerboard of single pixels becomes grey, not stripes
    Picture board{.width = 256, .height = 256};
    for (unsigned index = 0; index < 256 * 256; ++index) {
        const std::uint8_t value = (index / 256 + index) % 2 == 0 ? 255 : 0;
        board.pixels.insert(board.pixels.end(), {value, value, value, 255});
    }
    const Picture small = fitPicture(board, 32);
    for (unsigned index = 4 * 32 * 16; index < 4 * 32 * 17; index += 4)
        EXPECT_NEAR(small.pixels[index], 127, 12);
}

TEST(PictureRenderer, leavesAPictureOfTheRightSizeAlone) {
    Picture picture{.width = 8, .height = 8};
    for (unsigned index = 0; index < 256; ++index)
        picture.pixels.push_back(static_cast<std::uint8_t>(index * 37));
    EXPECT_EQ(decodePNG(*renderAsPNG(encodePNG(picture), 8))->pixels, picture.pixels);
}

TEST(PictureRenderer, drawsNothingForOtherBytesOrImpossibleSizes) {
    EXPECT_FALSE(renderAsPNG(copyBytes(""), 16));
    EXPECT_FALSE(renderAsPNG(copyBytes("GIF89a, not supported"), 16));
    EXPECT_FALSE(renderAsPNG(buildIcon({}), 16));
    EXPECT_FALSE(renderAsPNG(solidPNG(16, red), 0));
    EXPECT_FALSE(renderAsPNG(solidPNG(16, red), 1'000'000));
}

TEST(SystemImageServices, drawThroughTheLoadedModule) {
    const auto services = makeSystemImageServices();
    const auto png = services->renderPNG(buildIcon({{"ic07", solidPNG(128, green)}}), 32);
    ASSERT_TRUE(png);
    EXPECT_EQ(decodePNG(*png)->pixels, solidPicture(32, 32, green).pixels);
    EXPECT_FALSE(services->renderPNG(copyBytes("no picture"), 32));
}

} // namespace
} // namespace halvo
