#include "FeedTools.h"

#include <Base/Text.h>
#include <Support/TestData.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

std::string expectOnlyAdded(const std::string& feed, const std::string& edited) {
    // The item that was added is one run of text; without it the feed is what it was.
    const std::size_t end = edited.find("</item>") + 7;
    const std::size_t start = edited.rfind("<item>", end);
    const std::size_t blanks = edited.find_last_not_of(" \t\n", start - 1) + 1;
    EXPECT_EQ(edited.substr(0, blanks) + edited.substr(end), feed);
    return edited.substr(start, end - start);
}

TEST(ForeignContent, staysByteForByte) {
    const test::ScopedVariable zone("TZ", "UTC");
    const std::string feed(viewText(test::readTestData("Appcast/foreign.xml")));
    const std::string edited = test::upserted(test::makeItem(), feed);
    expectOnlyAdded(feed, edited);
    test::expectGolden("Appcast/foreign-upserted.xml", edited);
    test::expectReadByOthers(edited);
    EXPECT_EQ(test::makeEditor().deleteItem(42, "1.2.3", viewBytes(edited)), feed);
    EXPECT_EQ(test::versions(feed), (std::vector<std::int64_t>{7}));

    const std::string deleted = test::makeEditor().deleteItem(7, "0.7", viewBytes(feed));
    test::expectGolden("Appcast/foreign-deleted.xml", deleted);
}

TEST(ForeignContent, setsTheIndentation) {
    const auto firstLines = [](const std::string& feed) {
        const std::string edited = test::upserted(test::makeItem(), feed);
        const std::size_t start = edited.find("<item>");
        return edited.substr(start, edited.find("Demo 1.2.3") - start);
    };
    const std::string item = test::itemText("1");
    EXPECT_EQ(firstLines(test::feedWith("    " + item + "\n")), "<item>\n      <title>");
    EXPECT_EQ(firstLines(test::feedWith(item)), "<item>\n  <title>");
    EXPECT_EQ(firstLines("<rss>\n\t<channel>\n\t\t<title/>\n\t</channel>\n</rss>"), "<item>\n\t\t\t<title>");
    EXPECT_EQ(firstLines("<rss><channel>\n<item>\n\t<title/></item></channel></rss>"), "<item>\n\t<title>");
    EXPECT_EQ(firstLines("<rss><channel><title/>" + item + "</channel></rss>"), "<item><title>");
}

TEST(ForeignContent, goesBehindTheLastChildOfAChannelWithoutItems) {
    const std::string feed = test::feedWith("    <image/>\n    <!-- end -->\n");
    const std::string edited = test::upserted(test::makeItem(), feed);
    EXPECT_LT(edited.find("<!-- end -->"), edited.find("<item>"));
    EXPECT_TRUE(edited.ends_with("</item>\n  </channel>\n</rss>\n")) << edited;
}

TEST(ForeignContent, getsTheNamespaceWhereItIsMissing) {
    const std::string declaration = "xmlns:sparkle=\"http://www.andymatuschak.org/xml-namespaces/sparkle\"";
    const auto edit = [](const std::string& feed) {
        const std::string edited = test::upserted(test::makeItem(), feed);
        test::expectReadByOthers(edited);
        EXPECT_EQ(test::versions(edited).front(), 42);
        return edited;
    };
    EXPECT_NE(edit("<rss version='2.0'><channel/></rss>").find("<rss " + declaration), std::string::npos);
    // Items that use the prefix without a declaration are found by name, and made right on the way.
    const std::string undeclared = edit("<rss><channel>" + test::itemText("7") + "</channel></rss>");
    EXPECT_EQ(test::versions(undeclared), (std::vector<std::int64_t>{42, 7}));
    EXPECT_NE(undeclared.find("<rss " + declaration), std::string::npos);
    // Bound to something else, clients would not know the new elements.
    const std::string other =
        edit("<rss xmlns:sparkle='urn:other'><channel>" + test::itemText("7") + "</channel></rss>");
    EXPECT_NE(other.find("<item " + declaration + ">"), std::string::npos);
    EXPECT_EQ(test::versions(other), (std::vector<std::int64_t>{42, 7}));
    // Another prefix for the namespace is another name.
    EXPECT_EQ(test::versions("<rss xmlns:s='http://www.andymatuschak.org/xml-namespaces/sparkle'><channel>" +
                             replacingAll(test::itemText("7"), "sparkle:", "s:") + "</channel></rss>"),
              std::vector<std::int64_t>());
}

TEST(ForeignContent, comesOutAsUTF8WithPlainLineEnds) {
    const std::string plain = test::feedWith("    <author>caf\u00e9</author>\n");
    const std::string expected = test::upserted(test::makeItem(), plain);
    const auto edit = [](const std::string& bytes) { return test::upserted(test::makeItem(), bytes); };

    EXPECT_EQ(edit("\xEF\xBB\xBF" + plain), expected) << "byte-order mark";
    EXPECT_EQ(edit(replacingAll(plain, "\n", "\r\n")), expected) << "Windows line ends";
    EXPECT_EQ(edit(plain.substr(0, plain.size() - 1)), expected) << "no final newline";
    const std::string latin = replacingAll(replacingAll(plain, "utf-8", "ISO-8859-1"), "\u00e9", "\xE9");
    EXPECT_EQ(edit(latin), expected) << "ISO-8859-1";
    std::string wide = "\xFF\xFE";
    for (const char character : replacingAll(latin, "ISO-8859-1", "UTF-16")) {
        wide += character;
        wide += '\0';
    }
    EXPECT_EQ(edit(wide), expected) << "UTF-16";
    EXPECT_EQ(edit(plain.substr(plain.find('\n') + 1)), expected) << "no declaration";
    EXPECT_TRUE(expected.starts_with("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"));
}

TEST(ForeignContent, isNotTurnedIntoXHTML) {
    const std::string feed = "<!DOCTYPE html PUBLIC \"-//W3C//DTD XHTML 1.0 Strict//EN\" "
                             "\"http://www.w3.org/TR/xhtml1/DTD/xhtml1-strict.dtd\">"
                             "<rss><channel><a></a></channel></rss>";
    EXPECT_NE(test::upserted(test::makeItem(), feed).find("<channel><a/><item>"), std::string::npos);
}

} // namespace
} // namespace halvo
