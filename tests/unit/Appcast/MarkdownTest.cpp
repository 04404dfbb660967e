#include <Appcast/Markdown.h>

#include <Support/TestData.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

TEST(Markdown, rendersEveryKindOfBlock) {
    const std::string markdown(viewText(test::readTestData("Appcast/notes.md")));
    test::expectGolden("Appcast/notes.html", htmlFromMarkdown(markdown) + "\n");
}

using namespace std::string_view_literals;

TEST(MarkdownText, becomesSafeHTML) {
    const struct {
        const char* name;
        std::string_view markdown;
        std::string_view expected;
    } cases[] = {
        {"languageWithQuotes", "```\"><script>\nx\n```",
         "<pre><code class=\"language-&quot;&gt;&lt;script&gt;\">x\n</code></pre>"},
        {"rawHTMLBlock", "<div onclick=\"x\">\nb\n</div>",
         "<p>&lt;div onclick=&quot;x&quot;&gt;\nb\n&lt;/div&gt;</p>"},
        {"endOfCDATA", "]]>", "<p>]]&gt;</p>"},
        {"nul", "a\0b"sv,
         "<p>a\xEF\xBF\xBD"
         "b</p>"},
        {"notUTF8", "a\xFF\xC3", "<p>a\xEF\xBF\xBD\xEF\xBF\xBD</p>"},
        {"windowsLines", "a\r\nb\r\n\r\nc", "<p>a\nb</p>\n<p>c</p>"},
        {"entity", "&nbsp;&copy; &unknown &#65;", "<p>&nbsp;&copy; &amp;unknown &#65;</p>"},
        {"http", "[a](http://x/?a=1&b=%20 \"t&quot;\")",
         "<p><a href=\"http://x/?a=1&amp;b=%20\" title=\"t&quot;\">a</a></p>"},
        {"relative", "[a](notes/1.html) [b](#c) [d](/e:f) [g](?h:i) [j]()",
         "<p><a href=\"notes/1.html\">a</a> <a href=\"#c\">b</a> <a href=\"/e:f\">d</a> "
         "<a href=\"?h:i\">g</a> <a href=\"\">j</a></p>"},
        {"addressInUnicode", "[a](<caf\u00e9 \"b\">)", "<p><a href=\"caf%C3%A9%20%22b%22\">a</a></p>"},
        {"javascript", "[a](javascript:x) [b](JaVaScRiPt:x) [c](vbscript:x) [d](file:///x) [e](data:x)",
         "<p><a>a</a> <a>b</a> <a>c</a> <a>d</a> <a>e</a></p>"},
        {"hiddenColon", "[a](javascript&#58;x) [b](javascript&#x3A;x) [c](javascript&colon;x)",
         "<p><a>a</a> <a>b</a> <a href=\"javascript&amp;colon;x\">c</a></p>"},
        {"hiddenLetters", "[a](&#106;avascript:x) [b](java&Tab;script:x)", "<p><a>a</a> <a>b</a></p>"},
        {"reference", "[a][r]\n\n[r]: ftp://x 'T'", "<p><a title=\"T\">a</a></p>"},
        {"image", "![an *old* ![in](x) `c`](a.png 'T')",
         "<p><img src=\"a.png\" alt=\"an old in c\" title=\"T\"></p>"},
        {"emphasisIntoAnAddress", "*a ![b](c*) d", "<p><em>a <img src=\"c*\" alt=\"b\"> d</em></p>"},
        {"imageData", "![a\"b](data:image/png;base64,AA)", "<p><img alt=\"a&quot;b\"></p>"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(htmlFromMarkdown(row.markdown), row.expected);
    }
}

TEST(Markdown, takesDeepNesting) {
    EXPECT_FALSE(htmlFromMarkdown(std::string(20'000, '>') + " a").empty());
    EXPECT_FALSE(htmlFromMarkdown(std::string(20'000, '[') + "a").empty());
    EXPECT_FALSE(htmlFromMarkdown(std::string(20'000, '*') + "a").empty());
}

} // namespace
} // namespace halvo
