#include "FeedTools.h"

#include <Support/TemporaryFolder.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

/// Runs every operation; each must throw the failure that `check` is given.
template<typename Error, typename Check>
void expectRefused(std::string_view document, const Check& check) {
    const AppcastEditor editor = test::makeEditor();
    const auto refuses = [&](const auto& operation) {
        try {
            operation();
            ADD_FAILURE() << "took " << document.substr(0, 200);
        } catch (const Error& error) {
            check(error);
        }
    };
    testing::internal::CaptureStderr();
    refuses([&] { editor.parseItems(viewBytes(document)); });
    refuses([&] { editor.upsertItem(test::makeItem(), viewBytes(document)); });
    refuses([&] { editor.deleteItem({1, "1.0"}, viewBytes(document)); });
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "the parser wrote to standard error";
}

std::string nested(std::size_t depth) {
    std::string text = "<rss><channel>";
    for (std::size_t level = 0; level < depth; ++level)
        text += "<a>";
    return text;
}

using namespace std::string_literals;

TEST(DamagedFeed, isRefusedWithItsPlace) {
    const struct {
        const char* name;
        std::string document;
        int line;
        const char* said; ///< a part of the description
    } cases[] = {
        {"empty", "", 1, "empty"},
        {"json", "{\"a\": 1}", 1, "Start tag expected"},
        {"cut", "<rss>\n<channel>\n<item>", 3, "not well-formed"},
        {"attributeTwice", "<rss><channel>\n<item a='1' a='2'/></channel></rss>", 2, "redefined"},
        {"afterTheEnd", "<rss><channel/></rss>\n<rss/>", 2, "Extra content"},
        {"nul", "<rss><channel>\0</channel></rss>"s, 1, "not well-formed"},
        {"notUTF8", "<rss><channel>\xFF</channel></rss>", 1, "UTF-8"},
        {"unknownEntity", "<rss><channel>&nbsp;</channel></rss>", 1, "nbsp"},
        {"notInItsEncoding", "<?xml version='1.0' encoding='EUC-JP'?><rss><channel>\xFF\xFE</channel></rss>",
         0, "conversion failed"},
        {"entity", "<!DOCTYPE rss [\n<!ENTITY a 'b'>]><rss><channel>&a;</channel></rss>", 2, "entity"},
        {"entityBomb",
         "<!DOCTYPE rss [<!ENTITY a 'aaaaaaaaaa'><!ENTITY b '&a;&a;&a;&a;&a;&a;&a;&a;'>"
         "<!ENTITY c '&b;&b;&b;&b;&b;&b;&b;&b;'><!ENTITY d '&c;&c;&c;&c;&c;&c;&c;&c;'>]>"
         "<rss a='&d;'><channel>&d;</channel></rss>",
         1, "entity"},
        {"externalEntity",
         "<!DOCTYPE rss [<!ENTITY a SYSTEM 'file:///etc/hostname'>]><rss><channel>&a;</channel></rss>", 1,
         "entity"},
        {"parameterEntity",
         "<!DOCTYPE rss [<!ENTITY % a SYSTEM 'http://127.0.0.1:1/x.dtd'> %a;]><rss><channel/></rss>", 1,
         "entity"},
        {"depth", nested(300), 1, "depth"},
        {"size", std::string(AppcastEditor::largestDocument + 1, ' '), 0, "67.1 MB"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        expectRefused<AppcastXMLError>(row.document, [&](const AppcastXMLError& error) {
            EXPECT_EQ(error.line, row.line) << error.description();
            EXPECT_NE(error.description().find(row.said), std::string::npos) << error.description();
        });
    }
}

TEST(DamagedFeed, isRefusedWhereverItIsCut) {
    const std::string whole = test::makeEditor(true).upsertItem(test::makeItem(), std::nullopt);
    const std::size_t end = whole.find("</rss>");
    for (std::size_t length = 0; length < end + 6; ++length)
        EXPECT_THROW(test::parsed(whole.substr(0, length)), AppcastXMLError) << length;
}

TEST(DamagedFeed, needsAChannel) {
    for (const char* document :
         {"<rss/>", "<rss><Channel/></rss>", "<rss xmlns='urn:x'><channel/></rss>",
          "<rss xmlns:a='urn:x'><a:channel/></rss>", "<rss><!-- <channel/> --><?channel?></rss>"})
        expectRefused<AppcastEditorError>(document, [](const AppcastEditorError& error) {
            EXPECT_EQ(error.description(), "Invalid appcast structure: Missing channel element");
        });
}

TEST(DamagedFeed, readsNothingBesideItsBytes) {
    const test::TemporaryFolder folder;
    const std::string path = folder.write("rss.dtd", "<!ENTITY secret 'from the file'>").string();
    const std::string feed = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<!DOCTYPE rss SYSTEM \"file://" +
                             path +
                             "\">\n<rss xmlns:xi=\"http://www.w3.org/2001/XInclude\"><channel><a>&secret;</a>"
                             "<xi:include href=\"" +
                             path + "\" parse=\"text\"/></channel></rss>\n";
    const std::string edited = test::upserted(test::makeItem(), feed);
    EXPECT_EQ(edited.find("from the file"), std::string::npos);
    EXPECT_NE(edited.find("<a>&secret;</a>"), std::string::npos) << edited;
    EXPECT_NE(edited.find("<!DOCTYPE rss SYSTEM \"file://" + path), std::string::npos);
}

TEST(DamagedFeed, isNeverWritten) {
    AppcastItem item = test::makeItem();
    item.title = "a\x01"
                 "b\x1F\xEF\xBF\xBF\xEF\xBF\xBE\xFF ]]> <&>\"' \u00e9\r\n\r.";
    item.edSignature = "\"<&>\x02";
    item.channel = "]]>";
    item.releaseNotes = "a\x08\xEF\xBF\xBF ]]> `]]>` &#8;";
    item.shortVersionString = "<sparkle:version>1</sparkle:version>";
    const std::string feed = test::makeEditor().upsertItem(item, std::nullopt);
    test::expectReadByOthers(feed);
    const auto items = test::parsed(feed);
    ASSERT_EQ(items.size(), 1u);
    EXPECT_EQ(items[0].title, "ab\xEF\xBF\xBD ]]> <&>\"' \u00e9\n\n.");
    EXPECT_EQ(items[0].edSignature, "\"<&>");
    EXPECT_EQ(items[0].channel, "]]>");
    EXPECT_EQ(items[0].shortVersionString, item.shortVersionString);
    EXPECT_EQ(items[0].releaseNotes, "<p>a ]]&gt; <code>]]&gt;</code> &#8;</p>");

    item.title = std::string((std::size_t{8} << 20) + 1, 'a');
    EXPECT_THROW(test::makeEditor().upsertItem(item, std::nullopt), AppcastXMLError);
    item.title.pop_back();
    EXPECT_EQ(test::parsed(test::makeEditor().upsertItem(item, std::nullopt)).at(0).title, item.title);
}

} // namespace
} // namespace halvo
