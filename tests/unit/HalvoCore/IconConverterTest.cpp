#include <HalvoCore/IconConverter.h>

#include <Platform/Files.h>
#include <Support/FakeImages.h>
#include <Support/TemporaryFolder.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

namespace fs = std::filesystem;
using test::FakeImages;

TEST(IconConverter, writesAPNGForTheCallerToRemove) {
    const test::TemporaryFolder folder;
    FakeImages images;
    const IconConverter converter(images, folder.path());
    const URL icon = URL::file(folder.write("Demo.icns", "icns..."));
    const fs::path png = converter.writePNG(icon, 256).filePath();
    EXPECT_TRUE(png.filename().string().starts_with("icon-"));
    EXPECT_EQ(png.extension(), ".png");
    EXPECT_EQ(test::readText(png), "PNG of 256");
    EXPECT_NE(converter.writePNG(icon, 256).filePath(), png);
}

TEST(IconConverter, tellsAnUnreadableIconFromAnUnwritablePNG) {
    const test::TemporaryFolder folder;
    FakeImages images;
    const auto failure = [&](const fs::path& icon, const fs::path& temporary) -> std::string {
        try {
            IconConverter(images, temporary).writePNG(URL::file(icon), 256);
        } catch (const IconConverter::Error& error) {
            return error.description();
        }
        return "";
    };
    const fs::path good = folder.write("Demo.icns", "icns...");
    EXPECT_EQ(failure(folder.write("text.icns", "text"), folder.path()), "The icon could not be read.");
    EXPECT_EQ(failure(folder.write("empty.icns", ""), folder.path()), "The icon could not be read.");
    EXPECT_EQ(failure(folder / "missing.icns", folder.path()), "The icon could not be read.");
    EXPECT_EQ(failure(folder.path(), folder.path()), "The icon could not be read.");
    EXPECT_EQ(failure(good, folder / "missing"), "The icon could not be written as a PNG.");
}

} // namespace
} // namespace halvo
