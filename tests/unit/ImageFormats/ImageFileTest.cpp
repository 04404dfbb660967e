#include <ImageFormats/ImageFile.h>

#include "TestIcons.h"

#include <ImageFormats/IconFile.h>

#include <Platform/Files.h>
#include <Support/TemporaryFolder.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using Type = ImageProperties::Type;

/// Pictures of 30 by 20 pixels that another library wrote.
class SampleImages : public testing::Test {
protected:
    static void SetUpTestSuite() {
        folder = std::make_unique<test::TemporaryFolder>();
        runTool("make");
    }
    static void TearDownTestSuite() { folder.reset(); }

    /// What the tool answers.
    static std::string runTool(const std::string& verb) {
        const std::string command =
            std::string(HALVO_SAMPLE_IMAGES) + " " + verb + " '" + folder->path().string() + "' 2>&1";
        std::string answer;
        FILE* pipe = ::popen(command.c_str(), "r");
        for (int letter = std::fgetc(pipe); letter != EOF; letter = std::fgetc(pipe))
            answer += static_cast<char>(letter);
        EXPECT_EQ(::pclose(pipe), 0) << answer;
        return answer;
    }
    static Bytes sample(std::string_view name) { return readFile(*folder / name); }

    static inline std::unique_ptr<test::TemporaryFolder> folder;
};

struct SampleCase {
    std::string_view file;
    Type type;
    PixelDensity density;
};
constexpr SampleCase samples[] = {
    {"plain.png", Type::png, {0, 0}},          {"72.png", Type::png, {72, 72}},
    {"72x144.png", Type::png, {72, 144}},      {"plain.jpg", Type::jpeg, {0, 0}},
    {"72.jpg", Type::jpeg, {72, 72}},          {"exif.jpg", Type::jpeg, {300, 300}},
    {"exif-only.jpg", Type::jpeg, {300, 300}}, {"cmyk.jpg", Type::jpeg, {0, 0}},
    {"plain.tiff", Type::tiff, {0, 0}},        {"72.tiff", Type::tiff, {72, 72}},
    {"cm.tiff", Type::tiff, {127, 63.5}},      {"big-endian.tiff", Type::tiff, {0, 0}},
    {"pages.tiff", Type::tiff, {0, 0}},
};

TEST_F(SampleImages, areReadAndGetOtherDPITagsWithTheSamePixels) {
    int copies = 0;
    for (const auto& [file, type, density] : samples) {
        const Bytes image = sample(file);
        const auto properties = readImageProperties(image);
        ASSERT_TRUE(properties) << file;
        EXPECT_EQ(properties->type, type) << file;
        EXPECT_EQ(properties->pixelWidth, 30u) << file;
        EXPECT_EQ(properties->pixelHeight, 20u) << file;
        EXPECT_NEAR(properties->density.x, density.x, 0.02) << file;
        EXPECT_NEAR(properties->density.y, density.y, 0.02) << file;
        for (const auto& [name, wanted] : {std::pair{"@144", 144.0}, {"@100.3", 100.3}}) {
            const auto copy = withImageDensity(image, {wanted, wanted});
            ASSERT_TRUE(copy) << file;
            const auto readBack = readImageProperties(*copy);
            ASSERT_TRUE(readBack) << file;
            EXPECT_NEAR(readBack->density.x, wanted, 0.02) << file;
            EXPECT_NEAR(readBack->density.y, wanted, 0.02) << file;
            const fs::path path(file);
            folder->write(path.stem().string() + name + path.extension().string(), viewText(*copy));
            ++copies;
        }
    }
    EXPECT_EQ(runTool("compare"), std::to_string(copies) + "\n");
}

TEST_F(SampleImages, ofOtherTypesAreNotRead) {
    for (const char* file : {"other.gif", "other.bmp"}) {
        EXPECT_FALSE(readImageProperties(sample(file))) << file;
        EXPECT_FALSE(withImageDensity(sample(file), {144, 144})) << file;
    }
}

TEST_F(SampleImages, thatAreCutOffNeverGiveAnotherSize) {
    for (const char* file : {"72.png", "exif.jpg", "72.tiff"}) {
        const Bytes whole = sample(file);
        EXPECT_FALSE(readImageProperties(ByteView(whole).first(20))) << file;
        for (std::size_t length = 0; length < whole.size(); ++length) {
            const auto properties = readImageProperties(ByteView(whole).first(length));
            EXPECT_TRUE(!properties || properties->pixelWidth == 30) << file << " " << length;
            withImageDensity(ByteView(whole).first(length), {144, 144});
        }
    }
}

TEST_F(SampleImages, inJPEG2000AreDecodedInIcons) {
    for (const auto& [name, original] : {std::pair{"plain.jp2", "plain.png"},
                                         {"plain.j2k", "plain.png"},
                                         {"grey.jp2", "grey.png"},
                                         {"alpha.jp2", "alpha.png"}}) {
        const Bytes image = sample(name);
        const Bytes icon = buildIcon({{"ic08", image}});
        const auto pictures = listIconPictures(icon);
        ASSERT_EQ(pictures.size(), 1u) << name;
        EXPECT_EQ(pictures[0].width, 30u);
        const auto decoded = decodeIconPicture(pictures[0]);
        ASSERT_TRUE(decoded) << name;
        EXPECT_EQ(decoded->pixels, decodePNG(sample(original))->pixels) << name;
        for (std::size_t length = 0; length < image.size(); length += 3) { // whatever comes of it
            const Bytes cut =
                buildIcon({{"ic08", Bytes(image.begin(), image.begin() + static_cast<long>(length))}});
            for (const IconPicture& picture : listIconPictures(cut))
                decodeIconPicture(picture);
        }
    }
}

/// Where the four letters of a chunk's type stand.
std::size_t find(const Bytes& png, std::string_view chunk) { return viewText(png).find(chunk); }

TEST_F(SampleImages, withAWrongChecksumAreNotBelieved) {
    Bytes header = sample("72.png");
    header[find(header, "IHDR") + 4] ^= 1;
    EXPECT_FALSE(readImageProperties(header));
    Bytes resolution = sample("72.png");
    resolution[find(resolution, "pHYs") + 6] ^= 1;
    ASSERT_TRUE(readImageProperties(resolution));
    EXPECT_EQ(readImageProperties(resolution)->density, PixelDensity());
}

TEST_F(SampleImages, keepTheirBytesBeyondTheTags) {
    const Bytes png = sample("plain.png");
    const Bytes taggedPNG = withImageDensity(png, {144, 144}).value();
    const std::size_t headerEnd = find(png, "IHDR") + 4 + 13 + 4;
    constexpr std::size_t resolutionChunk = 4 + 4 + 9 + 4;
    EXPECT_EQ(viewText(taggedPNG).substr(headerEnd + resolutionChunk), viewText(png).substr(headerEnd));
    // Where JFIF can say it, a JPEG changes in five bytes: unit and density.
    const Bytes jpeg = sample("72.jpg");
    const Bytes taggedJPEG = withImageDensity(jpeg, {144, 144}).value();
    EXPECT_EQ(taggedJPEG.size(), jpeg.size());
    EXPECT_EQ(viewText(taggedJPEG).substr(18), viewText(jpeg).substr(18));
}

TEST_F(SampleImages, withoutRoomForTheTagsGetNoCopy) {
    EXPECT_FALSE(withImageDensity(sample("plain.png"), {0.001, 144}));
    Bytes jpeg = sample("exif-only.jpg");
    const std::size_t length = 4; // of the EXIF segment, which is filled up to the longest that there can be
    const std::size_t size = jpeg[length] << 8 | jpeg[length + 1];
    jpeg.insert(jpeg.begin() + static_cast<std::ptrdiff_t>(length + size), 0xFFFF - size, 0);
    jpeg[length] = jpeg[length + 1] = 0xFF;
    ASSERT_TRUE(readImageProperties(jpeg));
    EXPECT_FALSE(withImageDensity(jpeg, {144, 144}));
}

} // namespace
} // namespace halvo
