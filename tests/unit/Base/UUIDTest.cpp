#include <Base/UUID.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

TEST(UUID, readsEitherCaseAndWritesUpperCase) {
    const auto uuid = UUID::parse("6d1a9f1c-3b7e-5a2d-9c4f-8e0a1b2c3d4e");
    ASSERT_TRUE(uuid);
    EXPECT_EQ(uuid->string(), "6D1A9F1C-3B7E-5A2D-9C4F-8E0A1B2C3D4E");
    for (const char* text : {"", "6d1a9f1c3b7e5a2d9c4f8e0a1b2c3d4e", "6d1a9f1c-3b7e-5a2d-9c4f-8e0a1b2c3d4",
                             "6d1a9f1c-3b7e-5a2d-9c4f-8e0a1b2c3d4eX", "6d1a9f1c-3b7e-5a2d-9c4f8-e0a1b2c3d4e",
                             "gd1a9f1c-3b7e-5a2d-9c4f-8e0a1b2c3d4e"})
        EXPECT_FALSE(UUID::parse(text)) << text;
}

TEST(UUID, makesNewOnesOfVersionFour) {
    const UUID first = UUID::random();
    EXPECT_NE(first, UUID::random());
    EXPECT_EQ(first.string()[14], '4');
    EXPECT_NE(std::string("89AB").find(first.string()[19]), std::string::npos);
}

} // namespace
} // namespace halvo
