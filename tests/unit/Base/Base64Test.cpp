#include <Base/Base64.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

TEST(Base64, matchesTheVectorsOfRFC4648InBothDirections) {
    const std::pair<std::string, std::string> vectors[] = {{"", ""},
                                                           {"f", "Zg=="},
                                                           {"fo", "Zm8="},
                                                           {"foo", "Zm9v"},
                                                           {"foob", "Zm9vYg=="},
                                                           {"fooba", "Zm9vYmE="},
                                                           {"foobar", "Zm9vYmFy"},
                                                           {"\xfb\xff\xfe", "+//+"}};
    for (const auto& [plain, encoded] : vectors) {
        EXPECT_EQ(encodeBase64(viewBytes(plain)), encoded);
        EXPECT_EQ(decodeBase64(encoded), copyBytes(plain)) << encoded;
    }
}

TEST(Base64, refusesWhatNoEncoderWrites) {
    for (const char* text : {"Z", "Zg", "Zg=", "Zg===", "====", "Z===", "=Zg=", "Zg==Zg==", "Zh==", "Zm9=",
                             "Zm9v\n", "Zm 9v", "Zm9-", "Zm9_", "\xff\xff\xff\xff"})
        EXPECT_FALSE(decodeBase64(text)) << text;
}

TEST(Base64, passesOverLineBreaksOnlyWhenAsked) {
    EXPECT_EQ(decodeBase64("Zm9v\r\n YmFy\n", Base64Reading::ignoringWhitespace), copyBytes("foobar"));
    EXPECT_FALSE(decodeBase64("Zm9v*", Base64Reading::ignoringWhitespace));
}

} // namespace
} // namespace halvo
