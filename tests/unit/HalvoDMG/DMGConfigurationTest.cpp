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
    const nlohmann::json json = nlohmann::json::parse(
        R"({"appIconX":1,"appIconY":2,"applicationsLinkX":3,"applicationsLinkY":4,"backgroundImage":"file:///b.png","iconSize":5,"textSize":6,"volumeIcon":"file:///i.icns","volumeName":"n","windowHeight":7,"windowWidth":8,"windowX":9,"windowY":10})");
    EXPECT_EQ(nlohmann::json(json.get<DMGConfiguration>()), json);
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
