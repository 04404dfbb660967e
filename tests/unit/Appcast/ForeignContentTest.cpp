#include "FeedTools.h"

#include <Appcast/FeedSignature.h>
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
    EXPECT_EQ(test::makeEditor().deleteItem({42, "1.2.3"}, viewBytes(edited)), feed);
    EXPECT_EQ(test::versions(feed), (std::vector<std::int64_t>{7}));

    const std::string deleted = test::makeEditor().deleteItem({7, "0.7"}, viewBytes(feed));
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
}

TEST(ForeignContent, keepsItsBytesUnlessItIsNotUTF8) {
    const std::string plain = test::feedWith("    <author  name='x'>caf\u00e9</author>\n    <b></b>\n");
    const std::string expected = test::upserted(test::makeItem(), plain);
    const std::string added = expectOnlyAdded(plain, expected);
    const auto edit = [](const std::string& bytes) { return test::upserted(test::makeItem(), bytes); };

    EXPECT_EQ(edit("\xEF\xBB\xBF" + plain), "\xEF\xBB\xBF" + expected) << "byte-order mark";
    EXPECT_EQ(edit(replacingAll(plain, "\n", "\r\n")), replacingAll(expected, "\n", "\r\n"))
        << "Windows line ends";
    const std::string latin = replacingAll(replacingAll(plain, "utf-8", "ISO-8859-1"), "\u00e9", "\xE9");
    std::string wide = "\xFF\xFE";
    for (const char character : replacingAll(latin, "ISO-8859-1", "UTF-16")) {
        wide += character;
        wide += '\0';
    }
    for (const std::string& other : {latin, wide}) {
        const std::string edited = edit(other);
        EXPECT_NE(edited.find("caf\u00e9"), std::string::npos);
        EXPECT_NE(edited.find(added), std::string::npos);
        test::expectReadByOthers(edited);
    }
}

/// An item with everything that other tools write.
const std::string richItem = R"(    <item>
      <title>Version 1.1</title>
      <sparkle:releaseNotesLink xml:lang="de">https://x.example/de.html</sparkle:releaseNotesLink>
      <description xml:lang="en"><![CDATA[<p>Old &amp; good</p>]]></description>
      <description xml:lang='de'>Alt</description>
      <pubDate>Mon, 1 Jun 2026 09:30:00 GMT</pubDate>
      <sparkle:version>11</sparkle:version>
      <sparkle:shortVersionString>1.1</sparkle:shortVersionString>
      <sparkle:minimumSystemVersion>12.0.0</sparkle:minimumSystemVersion>
      <sparkle:maximumSystemVersion>15.9.9</sparkle:maximumSystemVersion>
      <sparkle:minimumAutoupdateVersion>9</sparkle:minimumAutoupdateVersion>
      <sparkle:hardwareRequirements>arm64</sparkle:hardwareRequirements>
      <sparkle:criticalUpdate sparkle:version="1.0"></sparkle:criticalUpdate>
      <sparkle:phasedRolloutInterval>3600</sparkle:phasedRolloutInterval>
      <x:note xmlns:x="urn:x" x:a='1'>kept</x:note>
      <enclosure   url="https://x.example/App%201.1.zip?a=1&amp;v=2" length="5" type="application/zip"
                 sparkle:edSignature="c2ln" sparkle:installationType="application" />
      <sparkle:deltas>
        <enclosure url="https://x.example/11-10.delta" sparkle:deltaFrom="10" length="1"/>
      </sparkle:deltas>
    </item>
)";

TEST(UpdatedItem, changesOnlyTheElementsOfWhatWasGiven) {
    using Text = std::optional<std::string>;
    const std::string channel = "      <sparkle:channel>beta</sparkle:channel>\n";
    const std::string draft = "      <sparkle:channel>unreleased</sparkle:channel>\n";
    const std::string enclosure = "      <enclosure   url";
    const std::string critical =
        "      <sparkle:criticalUpdate sparkle:version=\"1.0\"></sparkle:criticalUpdate>\n";
    const std::string rollout = "      <sparkle:phasedRolloutInterval>3600</sparkle:phasedRolloutInterval>\n";
    const struct {
        const char* name;
        ReleaseChanges changes;
        std::string from; ///< the piece of the item that becomes `to`
        std::string to;
    } cases[] = {
        {"nothing", {}, "", ""},
        {"theSame",
         {.isPublished = true, .isCritical = true, .isPhasedRollout = true, .channel = Text()},
         "",
         ""},
        {"channel", {.channel = Text("beta")}, enclosure, channel + enclosure},
        {"draft", {.isPublished = false}, enclosure, draft + enclosure},
        {"draftOfAChannel",
         {.isPublished = false, .channel = Text("beta")},
         enclosure,
         draft + "      <halvoChannel>beta</halvoChannel>\n" + enclosure},
        {"notCritical", {.isCritical = false}, critical, ""},
        {"notPhased", {.isPhasedRollout = false}, rollout, ""},
        {"notes",
         {.releaseNotes = "New & ]]>"},
         "<![CDATA[<p>Old &amp; good</p>]]>",
         "<![CDATA[<p>New &amp; ]]&gt;</p>]]>"},
    };
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const std::string feed = test::feedWith("    " + test::itemText("12") + "\n" + richItem);
        const std::string edited = test::makeEditor().updateItem({11, "1.1"}, row.changes, viewBytes(feed));
        EXPECT_EQ(edited, row.from.empty() ? feed : replacingAll(feed, row.from, row.to));
        test::expectReadByOthers(edited);
        // Said twice, it changes nothing; and what was given reads back.
        EXPECT_EQ(test::makeEditor().updateItem({11, "1.1"}, row.changes, viewBytes(edited)), edited);
        const auto item = test::parsed(edited).at(1);
        EXPECT_EQ(item.isPublished, row.changes.isPublished.value_or(true));
        EXPECT_EQ(item.channel, row.changes.channel.value_or(Text()));
        EXPECT_EQ(item.isCritical, row.changes.isCritical.value_or(true));
        EXPECT_EQ(item.isPhasedRollout, row.changes.isPhasedRollout.value_or(true));
    }
    EXPECT_THROW(test::makeEditor().updateItem({12, "1.1"}, {}, viewBytes(test::feedWith(richItem))),
                 AppcastEditorError);
}

TEST(UpdatedItem, isEditedInEveryLayout) {
    const ReleaseChanges toBeta{.channel = std::optional<std::string>("beta")};
    const auto edit = [&](const std::string& item, const ReleaseChanges& changes) {
        const std::string feed = "<rss><channel>" + item + "</channel></rss>";
        return test::makeEditor().updateItem({7, "1.0"}, changes, viewBytes(feed));
    };
    const std::string item = test::itemText("7");
    const std::string oneLine = edit(item, toBeta); // which gets the prefix's declaration, too
    EXPECT_NE(oneLine.find("<sparkle:channel>beta</sparkle:channel><enclosure"), std::string::npos);
    EXPECT_NE(oneLine.find("<rss xmlns:sparkle="), std::string::npos);
    const std::string format = "<description  sparkle:format=\"markdown\" a=\"b\">*x*</description>";
    EXPECT_NE(edit(replacingAll(item, "<enclosure", format + "<enclosure"), {.releaseNotes = "y"})
                  .find("<description a=\"b\"><![CDATA[<p>y</p>]]></description>"),
              std::string::npos);
    EXPECT_NE(edit(replacingAll(item, "<enclosure", "<description a='b'/><enclosure"), {.releaseNotes = "y"})
                  .find("<description a='b'><![CDATA[<p>y</p>]]></description>"),
              std::string::npos);
    const std::string tags = "<sparkle:tags><a/><sparkle:criticalUpdate/></sparkle:tags>";
    EXPECT_NE(edit(replacingAll(item, "<enclosure", tags + "<enclosure"), {.isCritical = false})
                  .find("<sparkle:tags><a/></sparkle:tags>"),
              std::string::npos);
}

TEST(SignedFeed, isFoundFromItsEnd) {
    const std::string content = test::feedWith("") + "<!-- sparkle-signatures:\nold -->";
    const std::string whole = withFeedSignature(content, "c2ln", "\n");
    const auto feed = SignedFeed::read(whole);
    ASSERT_TRUE(feed);
    EXPECT_EQ(feed->content, content);
    EXPECT_EQ(feed->edSignature, "c2ln");
    EXPECT_EQ(feed->afterBlock, "\n");
    EXPECT_NE(whole.find("length: " + std::to_string(content.size()) + "\n-->"), std::string::npos);
    EXPECT_FALSE(SignedFeed::read(test::feedWith("")));
    EXPECT_FALSE(SignedFeed::read(replacingAll(whole, "\n", "\r\n")));
}

} // namespace
} // namespace halvo
