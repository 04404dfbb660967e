#include <ImageFormats/DrawingRenderer.h>

#include <ImageFormats/ImageFile.h>
#include <ImageFormats/PNGPicture.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

constexpr Colour white{1, 1, 1}, red{1, 0, 0}, blue{0, 0, 1};

/// A drawing on white, 100 by 50 points at two pixels for each.
Picture render(std::vector<Shape> shapes) {
    Drawing drawing{{Fill{Path::rectangle({0, 0, 100, 50}), white}}};
    drawing.shapes.insert(drawing.shapes.end(), shapes.begin(), shapes.end());
    return decodePNG(renderDrawing(drawing, 100, 50, 2).value()).value();
}

std::string pixel(const Picture& picture, double x, double y) {
    const auto column = static_cast<unsigned>(2 * x), row = static_cast<unsigned>(2 * y);
    return toHex(ByteView(picture.pixels).subspan(std::size_t{4} * (row * picture.width + column), 3));
}

/// The first and last column in points that is not white, and the number of dark pixels.
struct Ink {
    double left = 100, right = 0;
    int amount = 0;
};
Ink inkOf(const Picture& picture) {
    Ink ink;
    for (unsigned y = 0; y < picture.height; ++y)
        for (unsigned x = 0; x < picture.width; ++x)
            if (picture.pixels[std::size_t{4} * (y * picture.width + x)] < 128) {
                ink.left = std::min(ink.left, x / 2.0);
                ink.right = std::max(ink.right, x / 2.0);
                ++ink.amount;
            }
    return ink;
}

TextLine lineOf(std::vector<TextRun> runs) {
    return {
        .runs = std::move(runs), .size = 10, .position = {50, 25}, .maximumWidth = 80, .minimumScale = 0.8};
}

TEST(DrawingRenderer, fillsAndStrokesAtTwoPixelsForEachPoint) {
    const Picture picture =
        render({Fill{Path::rectangle({10, 10, 20, 20}), red}, Stroke{Path::line({0, 45}, {100, 45}), blue, 2},
                Fill{Path::roundedRectangle({60, 10, 20, 20}, 10), red},
                Fill{Path::rectangle({90, 0, 10, 40}), LinearGradient{{0, 0}, {0, 40}, red, blue}}});
    EXPECT_EQ(picture.width, 200u);
    EXPECT_EQ(picture.height, 100u);
    EXPECT_EQ(pixel(picture, 10, 10), "ff0000");
    EXPECT_EQ(pixel(picture, 9.5, 10), "ffffff");
    EXPECT_EQ(pixel(picture, 29.5, 29.5), "ff0000");
    EXPECT_EQ(pixel(picture, 50, 44), "0000ff");
    EXPECT_EQ(pixel(picture, 60.5, 10.5), "ffffff") << "a corner that is rounded off";
    EXPECT_EQ(pixel(picture, 70, 10.5), "ff0000");
    EXPECT_EQ(pixel(picture, 95, 0).substr(0, 1), "f");
    EXPECT_EQ(pixel(picture, 95, 39.5).substr(4, 1), "f");
}

TEST(DrawingRenderer, tagsThePictureWithItsScale) {
    const auto properties = readImageProperties(renderDrawing({}, 30, 20, 2).value());
    EXPECT_NEAR(properties->density.x, 144, 0.02);
}

TEST(DrawingRenderer, makesNoPictureWithoutAreaOrBeyondReason) {
    for (const double side : {0.0, -5.0, 0.1, 1e9, std::nan("")})
        EXPECT_FALSE(renderDrawing({}, side, 100, 2)) << side;
}

TEST(DrawingRenderer, centresTextAndKeepsItWithinItsWidth) {
    const Ink small = inkOf(render({lineOf({{.text = "Mellow"}})}));
    EXPECT_NEAR(50 - small.left, small.right - 50, 2);
    EXPECT_LT(small.right - small.left, 60);
    // Names in any script, however long, stay within 80 points, and what stands behind them is drawn.
    const std::string longText(400, 'W');
    for (const std::string& name :
         {longText, std::string("\u062A\u0637\u0628\u064A\u0642 ") + longText,
          std::string("\u65E5\u672C \U0001F680 ") + longText, std::string("\xFF\xFE")}) {
        const Ink ink = inkOf(render({lineOf({{.text = name, .mayBeShortened = true}, {.text = " end."}})}));
        EXPECT_GE(ink.left, 9);
        EXPECT_LE(ink.right, 91);
    }
    const Ink shortened = inkOf(
        render({lineOf({{.text = longText, .colour = white, .mayBeShortened = true}, {.text = " end."}})}));
    EXPECT_GT(shortened.amount, 20) << "the words behind a shortened name";
    EXPECT_GT(shortened.left, 60);
}

TEST(DrawingRenderer, knowsWhatTheFontsCanDraw) {
    EXPECT_TRUE(canDrawText("Caf\u00E9"));
    EXPECT_FALSE(canDrawText("\U0010FFFD")) << "private use: no font has it";
}

} // namespace
} // namespace halvo
