#include <HalvoDMG/DMGConfiguration.h>
#include <Models/ModelError.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace halvo {
namespace {

TEST(DMGConfiguration, hasItsFieldsForKeys) {
    EXPECT_EQ(
        nlohmann::json(DMGConfiguration()).dump(),
        R"({"appIconX":150,"appIconY":174,"applicationsLinkX":450,"applicationsLinkY":174,"iconSize":100,)"
        R"("textSize":12,"windowHeight":400,"windowWidth":600,"windowX":200,"windowY":120})");
    const DMGConfiguration whole{.volumeName = "Demo",
                                 .volumeIcon = URL::parse("file:///icon.icns"),
                                 .windowWidth = 1,
                                 .windowHeight = 2,
                                 .windowX = 3,
                                 .windowY = 4,
                                 .iconSize = 5,
                                 .textSize = 6,
                                 .appIconX = 7,
                                 .appIconY = 8,
                                 .applicationsLinkX = 9,
                                 .applicationsLinkY = 10,
                                 .backgroundImage = URL::parse("file:///bg.png")};
    EXPECT_EQ(nlohmann::json(whole).get<DMGConfiguration>(), whole);
}

TEST(DMGConfiguration, namesTheKeyThatIsMissing) {
    nlohmann::json json = DMGConfiguration();
    json.erase("iconSize");
    try {
        json.get<DMGConfiguration>();
        ADD_FAILURE();
    } catch (const ModelError& error) {
        EXPECT_EQ(error.path, "iconSize");
    }
}

} // namespace
} // namespace halvo
