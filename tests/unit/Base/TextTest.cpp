#include <Base/Text.h>
#include <Base/Unicode.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

TEST(Text, readsIntegersAndNothingElse) {
    EXPECT_EQ(parseInteger("+42"), 42);
    EXPECT_EQ(parseInteger("-1"), -1);
    EXPECT_EQ(parseInteger("007"), 7);
    EXPECT_EQ(parseInteger("9223372036854775807"), INT64_MAX);
    EXPECT_EQ(parseInteger("-9223372036854775808"), INT64_MIN);
    for (const char* text :
         {"", " 42", "42 ", "1.2", "abc", "+", "-", "+-1", "--1", "0x1", "9223372036854775808"})
        EXPECT_FALSE(parseInteger(text)) << text;
}

TEST(Text, showsFileSizesInDecimalUnits) {
    const std::pair<std::uint64_t, const char*> sizes[] = {
        {0, "Zero KB"},          {1, "1 byte"},
        {999, "999 bytes"},      {1000, "1 KB"},
        {1500, "2 KB"},          {999'499, "999 KB"},
        {999'500, "1 MB"},       {1'260'000, "1.3 MB"},
        {2'000'000'000, "2 GB"}, {2'147'483'648, "2.15 GB"}};
    for (const auto& [bytes, text] : sizes)
        EXPECT_EQ(formatByteCount(bytes), text) << bytes;
}

TEST(Text, splitsAndJoins) {
    EXPECT_EQ(split("a,,b", ','), (std::vector<std::string>{"a", "", "b"}));
    EXPECT_EQ(split("", ','), std::vector<std::string>{""});
    EXPECT_EQ(joined({"a", "b"}, ", "), "a, b");
    EXPECT_EQ(trimmed(" \t beta\r\n"), "beta");
    EXPECT_EQ(trimmed(" \n"), "");
    EXPECT_EQ(replacingAll("aXbXX", "X", "YX"), "aYXbYXYX");
}

TEST(Unicode, composesAndDecomposes) {
    EXPECT_EQ(composed("Cafe\u0301"), "Caf\u00e9");
    EXPECT_EQ(decomposed("Caf\u00e9"), "Cafe\u0301");
    EXPECT_EQ(composed("a\xff"), "a\xff");
    EXPECT_FALSE(isValidUTF8("a\xc3"));
    EXPECT_EQ(repairedUTF8("a\xffz"), "a\ufffdz");
    EXPECT_EQ(displayWidth("Caf\u00e9"), 4u);
    EXPECT_EQ(displayWidth("Cafe\u0301"), 4u);
    EXPECT_EQ(displayWidth("\u65e5\u672c"), 4u);
}

TEST(Unicode, convertsToAndFromUTF16) {
    for (const char* text : {"", "Caf\u00e9", "\ud7ff\ue000\uffff", "\U00010000\U0010ffff\U0001F4BE"})
        EXPECT_EQ(decodeUTF16(encodeUTF16(text).value()), text);
    EXPECT_EQ(encodeUTF16("\U0001F4BE"), u"\xd83d\xdcbe");
    EXPECT_FALSE(encodeUTF16("a\xc3"));
    for (const char16_t* units : {u"a\xd800", u"\xdc00\xd800", u"\xd800z", u"\xd800\xd800"})
        EXPECT_FALSE(decodeUTF16(units));
}

} // namespace
} // namespace halvo
