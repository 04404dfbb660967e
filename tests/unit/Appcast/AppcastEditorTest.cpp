#include "FeedTools.h"

#include <Support/TestData.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using test::feedWith;
using test::itemText;
using test::makeEditor;
using test::makeItem;
using test::parsed;
using test::upserted;
using test::versions;

class AppcastEditorTest : public testing::Test {
    const test::ScopedVariable zone{"TZ", "Asia/Kolkata"};
};

TEST_F(AppcastEditorTest, makesANewFeed) {
    AppcastItem item = makeItem();
    item.releaseNotes = "# What is new\n\n> Faster & safer\n\n- ]]> in a list\n\n```swift\nlet a = 1\n```\n";
    const std::string feed = makeEditor(true).upsertItem(item, std::nullopt);
    test::expectGolden("Appcast/new.xml", feed);
    test::expectReadByOthers(feed);

    const auto items = parsed(feed);
    ASSERT_EQ(items.size(), 1u);
    item.releaseNotes = items[0].releaseNotes;
    EXPECT_EQ(items[0], item); // the query that no cache knows is gone again
}

TEST_F(AppcastEditorTest, putsTheNewestInFront) {
    AppcastItem item = makeItem();
    std::string feed = makeEditor().upsertItem(item, std::nullopt);
    item.version = 43;
    item.shortVersionString = "1.3";
    item.channel = "beta";
    item.isCritical = item.isPhasedRollout = true;
    feed = upserted(item, feed);
    item.version = 44;
    item.isPublished = false;
    feed = upserted(item, feed);
    test::expectGolden("Appcast/three-items.xml", feed);
    EXPECT_EQ(versions(feed), (std::vector<std::int64_t>{44, 43, 42}));
    EXPECT_EQ(parsed(feed).at(0).channel, "beta");
    EXPECT_FALSE(parsed(feed).at(0).isPublished);

    item.version = 42; // an old number comes to the front, too
    item.isPublished = true;
    item.channel.reset();
    EXPECT_EQ(versions(upserted(item, feed)), (std::vector<std::int64_t>{42, 44, 43}));
}

TEST(StoredVersion, matchesAsAnInteger) {
    const struct {
        const char* name;
        const char* stored;
        bool isReplaced; ///< by version 42
    } cases[] = {{"plus", "+42", true},         {"inCDATA", "<![CDATA[42]]>", true},
                 {"reference", "&#52;2", true}, {"fraction", "42.1", false},
                 {"blank", " 42\n", true},      {"overflow", "18446744073709551658", false}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const std::string feed = feedWith("    " + itemText(row.stored, "old") + "\n");
        const std::string result = upserted(makeItem(), feed);
        EXPECT_EQ(result.find(">old<") == std::string::npos, row.isReplaced) << result;
        EXPECT_EQ(makeEditor().parseItems(viewBytes(result)).at(0).version, 42);
    }
}

TEST_F(AppcastEditorTest, replacesEveryItemOfTheVersion) {
    const std::string feed = feedWith("    " + itemText("42", "1.0") + "\n    " + itemText("41") + "\n    " +
                                      itemText("42", "2.0") + "\n");
    EXPECT_EQ(versions(upserted(makeItem(), feed)), (std::vector<std::int64_t>{42, 41}));
}

TEST_F(AppcastEditorTest, deletesTheFirstWithBothNumbers) {
    const auto remove = [](const std::string& feed, const char* shortVersionString) {
        return makeEditor().deleteItem({42, shortVersionString}, viewBytes(feed));
    };
    const std::string first = "    " + itemText("42", "1.0", "<author>first</author>") + "\n";
    const std::string second = "    " + itemText("42", "1.0", "<author>second</author>") + "\n";
    const std::string other = "    " + itemText("42", "2.0") + "\n";
    EXPECT_EQ(remove(feedWith(other + first + second), "1.0"), feedWith(other + second));
    EXPECT_EQ(makeEditor().deleteItem({42, "1.0", 2}, viewBytes(feedWith(other + first + second))),
              feedWith(other + first));
    EXPECT_EQ(remove(feedWith(other + first + second), "2.0"), feedWith(first + second));
    EXPECT_EQ(remove(feedWith(other), "2.0"), feedWith(""));
    try {
        remove(feedWith(first), "1");
        ADD_FAILURE() << "deleted";
    } catch (const AppcastEditorError& error) {
        EXPECT_EQ(std::get<AppcastEditorError::ItemNotFound>(error.which),
                  (AppcastEditorError::ItemNotFound{42, "1"}));
        EXPECT_EQ(error.description(), "Item not found: 1 (42)");
    }
}

TEST_F(AppcastEditorTest, givesTheFeedBackWhenWhatItAddedGoesAgain) {
    AppcastItem item = makeItem();
    item.releaseNotes = "- a\n- b\n";
    for (const std::string& feed :
         {makeEditor().upsertItem({makeItem()}, std::nullopt), feedWith(""),
          feedWith("\t" + itemText("7") + "\n"),
          feedWith("\n    <!-- latest -->\n\n    " + itemText("7") + "\n\n\n" + itemText("8") + "\n"),
          feedWith(itemText("7") + itemText("8")), feedWith("text "),
          std::string(
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<rss xmlns:sparkle=\"http://www.andymatuschak."
              "org/xml-namespaces/sparkle\"><channel>\n  </channel></rss>\n")}) {
        item.version = 99;
        const std::string longer = upserted(item, feed);
        EXPECT_EQ(makeEditor().deleteItem({99, item.shortVersionString}, viewBytes(longer)), feed);
    }
}

TEST_F(AppcastEditorTest, readsWhatAnItemMayLeaveOut) {
    const auto items =
        parsed(feedWith(itemText("1") + itemText("2", "1.0",
                                                 "<sparkle:minimumSystemVersion/><sparkle:channel/>"
                                                 "<sparkle:criticalUpdate/>"
                                                 "<description>a<![CDATA[<b>]]>&amp;</description>")));
    ASSERT_EQ(items.size(), 2u);
    for (const AppcastItem& item : items) {
        EXPECT_EQ(item.minimumSystemVersion, "10.13");
        EXPECT_EQ(item.channel, std::nullopt);
        EXPECT_TRUE(item.isPublished);
        EXPECT_FALSE(item.isPhasedRollout);
    }
    EXPECT_EQ(items[0].releaseNotes, "");
    EXPECT_EQ(items[1].releaseNotes, "a<b>&");
    EXPECT_TRUE(items[1].isCritical);
}

TEST(UnreadableItem, isLeftOutOfTheListAndStaysInTheFeed) {
    const struct {
        const char* name;
        const char* from; ///< a piece of a readable item
        const char* to;
    } cases[] = {{"noTitle", "<title>T</title>", ""},
                 {"noDate", "<pubDate>Sun, 22 Nov 2026 09:30:00 +0000</pubDate>", ""},
                 {"fractionalVersion", "<sparkle:version>41<", "<sparkle:version>4.1<"},
                 {"lengthInWords", "length=\"7\"", "length=\"7 KB\""},
                 {"noSignature", " sparkle:edSignature=\"c2ln\"", ""},
                 {"relativeURL", "https://x.example/a.zip", "a.zip"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        std::string broken = itemText("41");
        const std::string from = row.from;
        ASSERT_NE(broken.find(from), std::string::npos);
        broken.replace(broken.find(from), from.size(), row.to);
        const std::string feed = feedWith(itemText("40") + broken);
        EXPECT_EQ(versions(feed), (std::vector<std::int64_t>{40}));
        EXPECT_NE(upserted(makeItem(), feed).find(broken), std::string::npos);
    }
}

TEST(BuildNumber, isReadInEveryFormThatClientsKnow) {
    const struct {
        const char* name;
        const char* elements;
        const char* attributes;
        const char* expected; ///< "version|short version"
    } cases[] = {
        {"elements",
         "<sparkle:version>41</sparkle:version><sparkle:shortVersionString>4.1</sparkle:shortVersionString>",
         "", "41|4.1"},
        {"attributes", "", "sparkle:version='41' sparkle:shortVersionString='4.1'", "41|4.1"},
        {"attributeOutranksElement", "<sparkle:version>40</sparkle:version>", "sparkle:version='41'",
         "41|41"},
        {"shortIsVersion", "<sparkle:version> 41\n</sparkle:version>", "", "41|41"},
        {"otherPrefix", "<s:version>41</s:version>", "s:shortVersionString='4.1'", "41|4.1"},
        {"nameOfTheArchive", "", "url='https://x.example/App_41.zip'", "41|41"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        const std::string attributes = row.attributes;
        const std::string url =
            attributes.find("url=") == std::string::npos ? " url='https://x.example/a.zip' " : " ";
        const std::string feed =
            feedWith("<item xmlns:s='http://www.andymatuschak.org/xml-namespaces/sparkle'><title>T</title>"
                     "<pubDate>Sun, 22 Nov 2026 09:30:00 +0000</pubDate>" +
                     std::string(row.elements) + "<enclosure" + url + "length='7' s:edSignature='c2ln' " +
                     attributes + "/></item>");
        const auto contents = makeEditor().read(viewBytes(feed));
        ASSERT_EQ(contents.items.size(), 1u) << contents.unread.at(0).reason;
        const auto& id = contents.items[0].id;
        EXPECT_EQ(std::to_string(id.version) + "|" + id.shortVersionString, row.expected);
        AppcastItem again = makeItem();
        again.version = 41;
        EXPECT_EQ(parsed(upserted(again, feed)).size(), 1u); // it takes the place of the stored one
    }
}

TEST(FeedContents, tellsWhatElseStandsInTheFeed) {
    const std::string feed = feedWith(
        itemText("40") + itemText("40") +
        itemText("39", "3.9", "<sparkle:channel>unreleased</sparkle:channel>") +
        "<item><enclosure url='a.zip' sparkle:version='1.2' sparkle:os='macos'/></item>"
        "<item><title>W</title><enclosure url='w.exe' sparkle:version='9.9.9' sparkle:os='windows'/></item>");
    const auto contents = makeEditor().read(viewBytes(feed));
    EXPECT_EQ(contents.title, "Demo");
    EXPECT_EQ(contents.itemCount(), 5u);
    EXPECT_EQ(contents.items.at(0).id, (AppcastItemID{40, "1.0", 1}));
    EXPECT_EQ(contents.items.at(1).id, (AppcastItemID{40, "1.0", 2}));
    EXPECT_EQ(contents.unread.at(0).reason, "it has no EdDSA signature");
    EXPECT_EQ(contents.unread.at(1).reason, "it is for another system");
    EXPECT_EQ(contents.builds, (std::vector<std::string>{"40", "40", "39", "1.2"}));
    EXPECT_EQ(contents.downloads.size(), 5u);
    AppcastItem item = makeItem();
    item.version = 9;
    EXPECT_NE(upserted(item, feed).find("w.exe"), std::string::npos);
}

} // namespace
} // namespace halvo
