#include <HalvoDMG/Background.h>
#include <HalvoDMG/DMGCreationError.h>

#include "ImageView.h"
#include "TemplateView.h"

#include <Platform/Files.h>
#include <Support/CaseName.h>
#include <Support/TemporaryFolder.h>

#include <gmock/gmock.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;

/// Knows one picture, and writes its density behind it. The readers of real files have tests of their own.
class FakeImages final : public ImageServices {
public:
    std::optional<Bytes> renderPNG(ByteView, unsigned) override { return std::nullopt; }
    std::optional<Bytes> renderPNG(const Drawing& drawing, double, double, double) override {
        drawn = drawing;
        return picture;
    }
    bool canDraw(std::string_view) override { return hasFont; }
    std::optional<ImageProperties> readProperties(ByteView) override { return properties; }
    std::optional<Bytes> withDensity(ByteView, PixelDensity density) override {
        asked = density;
        return copy;
    }

    std::optional<ImageProperties> properties{};
    std::optional<Bytes> picture = copyBytes("picture");
    std::optional<Bytes> copy = copyBytes("copy");
    bool hasFont = true;
    PixelDensity asked{};
    Drawing drawn{};
};

constexpr PointSize window{600, 400};

struct BackgroundCase {
    std::string_view name;
    ImageProperties properties;
    std::string_view outcome; ///< "original", "derived" or the failure's text behind the path
};

/// "original", "derived" or what the failure says behind the path.
std::string outcomeOf(FakeImages& images, const fs::path& file) {
    try {
        const Background background = fittedBackground(URL::file(file), window, images);
        EXPECT_EQ(background.extension, "jpeg");
        return viewText(background.picture) == "copy" ? "derived" : test::readText(file);
    } catch (const DMGCreationError& error) {
        const std::string text = error.description();
        return text.substr(text.find(file.string()) + file.string().size());
    }
}

class FittedBackground : public testing::TestWithParam<BackgroundCase> {};

TEST_P(FittedBackground, isTakenDerivedOrRefused) {
    const test::TemporaryFolder folder;
    FakeImages images;
    images.properties = GetParam().properties;
    EXPECT_EQ(outcomeOf(images, folder.write("bg.tif", "original")), GetParam().outcome);
    if (GetParam().outcome == "derived") {
        EXPECT_DOUBLE_EQ(images.asked.x, images.properties->pixelWidth * 72.0 / 600);
        EXPECT_DOUBLE_EQ(images.asked.y, images.properties->pixelHeight * 72.0 / 400);
    }
}

constexpr ImageProperties jpeg(std::uint32_t width, std::uint32_t height, double x = 72, double y = 72) {
    return {ImageProperties::Type::jpeg, width, height, {x, y}};
}

INSTANTIATE_TEST_SUITE_P(
    Pictures, FittedBackground,
    testing::Values(
        BackgroundCase{"retina", jpeg(1200, 800, 144, 144), "original"},
        BackgroundCase{"retinaWithoutTags", jpeg(1200, 800), "derived"},
        BackgroundCase{"standard", jpeg(600, 400), "original"},
        BackgroundCase{"unknownDensityIs72", jpeg(600, 400, 0, 0), "original"},
        BackgroundCase{"absurdDensityIs72", jpeg(600, 400, 20000, 0.5), "original"},
        BackgroundCase{"almostOnePointOff", jpeg(1200, 800, 143.8, 143.8), "original"},
        BackgroundCase{"onePointOff", jpeg(1200, 800, 143.76, 143.76), "derived"},
        BackgroundCase{"ratioWithinTolerance", jpeg(1205, 800, 144.6, 144), "original"},
        BackgroundCase{"tooSmallWithinTolerance", jpeg(599, 400),
                       " is 599x400 px, too small for the 600x400 DMG window. Export it at 1200x800 (@2x, "
                       "recommended) or at least 600x400 px."},
        BackgroundCase{
            "ratioIsLookedAtFirst", jpeg(590, 400),
            " is 590x400 px, which doesn't match the 600x400 DMG window. Export it at 1200x800 (@2x, "
            "recommended) or 600x400. Cropping or letterboxing is a design decision, so Halvo won't do "
            "it for you."}),
    test::CaseName());

TEST(FittedBackground, failsWithItsOwnErrors) {
    const test::TemporaryFolder folder;
    const fs::path file = folder.write("bg.gif", "GIF");
    const std::string unreadable = ". Provide a PNG, JPG, or TIFF file.";
    FakeImages images;
    EXPECT_EQ(outcomeOf(images, file), unreadable);
    images.properties = jpeg(0, 400);
    EXPECT_EQ(outcomeOf(images, file), unreadable);
    images.properties = jpeg(1200, 800);
    EXPECT_EQ(outcomeOf(images, folder / "missing.png"), unreadable);
    images.copy.reset();
    EXPECT_EQ(outcomeOf(images, file), ". Export it as PNG and try again.");
}

TEST(FittedBackground, warnsOfFewerThanTwoPixelsForEachPoint) {
    const test::TemporaryFolder folder;
    FakeImages images;
    for (
        const auto& [width, warning] :
        {std::pair{
             1199u,
             std::optional<std::string>(
                 "The background is 1199x800 px and will look soft on Retina displays. Export at 1200x800 for full sharpness.")},
         {1200u, std::nullopt}}) {
        images.properties = jpeg(width, 800);
        EXPECT_EQ(fittedBackground(URL::file(folder.write("bg", "")), window, images).retinaWarning, warning);
    }
}

std::vector<TextLine> linesOf(const Drawing& drawing) {
    std::vector<TextLine> lines;
    for (const Shape& shape : drawing.shapes)
        if (const auto* line = std::get_if<TextLine>(&shape))
            lines.push_back(*line);
    return lines;
}

std::vector<std::string> textsOf(const Drawing& drawing) {
    std::vector<std::string> texts;
    for (const TextLine& line : linesOf(drawing)) {
        std::string& text = texts.emplace_back();
        for (const TextRun& run : line.runs)
            text += run.text;
    }
    return texts;
}

TEST(GeneratedBackground, saysWhatToDo) {
    FakeImages images;
    const auto texts = [&](const std::optional<std::string>& name, bool watermark) {
        EXPECT_EQ(generatedBackground(window, name, watermark, images).picture, copyBytes("picture"));
        return textsOf(images.drawn);
    };
    using testing::UnorderedElementsAre;
    EXPECT_THAT(texts("Demo", true),
                UnorderedElementsAre("Drag Demo to Applications to install", "Built with halvo.example"));
    EXPECT_THAT(texts("Two\nlines", false),
                UnorderedElementsAre("Drag Two lines to Applications to install"));
    EXPECT_THAT(texts(std::nullopt, false), UnorderedElementsAre("Drag to Applications to install"));
    images.hasFont = false;
    EXPECT_THAT(texts("\U0001F680", false), UnorderedElementsAre("Drag to Applications to install"));

    images.picture.reset();
    EXPECT_THROW(generatedBackground(window, "Demo", true, images), ImageCreatorError);
}

TEST(ImageView, putsTheArrowOnTheLineOfTheIcons) {
    const Drawing drawing = ImageView{.width = 600, .height = 400}.draw();
    const Path& arrow = std::get<Fill>(drawing.shapes.at(2)).path;
    double left = 600, right = 0, top = 400, bottom = 0;
    const auto include = [&](Point point) {
        left = std::min(left, point.x), right = std::max(right, point.x);
        top = std::min(top, point.y), bottom = std::max(bottom, point.y);
    };
    for (const Path::Element& element : arrow.elements) {
        if (const auto* line = std::get_if<Path::Line>(&element))
            include(line->to);
        if (const auto* curve = std::get_if<Path::Curve>(&element))
            include(curve->to);
    }
    const DMGConfiguration standard;
    EXPECT_NEAR((top + bottom) / 2, static_cast<double>(standard.appIconY), 0.01);
    const double room = static_cast<double>(standard.iconSize) / 2;
    EXPECT_GT(left, static_cast<double>(standard.appIconX) + room);
    EXPECT_LT(right, static_cast<double>(standard.applicationsLinkX) - room);
    const TextLine label = linesOf(ImageView{.width = 600, .height = 400, .watermark = true}.draw()).back();
    const double finderLabels = static_cast<double>(standard.appIconY) + room + 4 + 2.6 * 12;
    EXPECT_GT(label.position.y - label.size / 2, finderLabels) << "clear of labels of two lines";
}

TEST(TemplateView, marksThePlacesOfTheConfiguration) {
    const DMGConfiguration configuration{.windowWidth = 800,
                                         .windowHeight = 500,
                                         .iconSize = 128,
                                         .appIconX = 210,
                                         .appIconY = 230,
                                         .applicationsLinkX = 590,
                                         .applicationsLinkY = 240};
    FakeImages images;
    EXPECT_EQ(drawBackgroundTemplate(configuration, images), copyBytes("picture"));
    EXPECT_EQ(std::get<Colour>(std::get<Fill>(images.drawn.shapes.front()).paint),
              TemplateView::blueprintBlue);
    EXPECT_THAT(textsOf(images.drawn),
                testing::IsSupersetOf({"DMG BACKGROUND TEMPLATE", "210, 230", "590, 240", "128 pt",
                                       "halvo config set release dmg-background <your-file>"}));
    for (const TextLine& line : linesOf(images.drawn))
        EXPECT_TRUE(line.position.x > 0 && line.position.x < 800 && line.position.y > 0 &&
                    line.position.y < 500);
}

TEST(GeneratedBackground, fitsTheWindowAsItIs) { // drawn and read by the system's image services
    const test::TemporaryFolder folder;
    const auto images = makeSystemImageServices();
    const Bytes picture = generatedBackground(window, "Demo", true, *images).picture;
    const URL file = URL::file(folder.write("bg.png", viewText(picture)));
    const Background fitted = fittedBackground(file, window, *images);
    EXPECT_EQ(fitted.picture, picture);
    EXPECT_EQ(fitted.retinaWarning, std::nullopt);
}

} // namespace
} // namespace halvo
