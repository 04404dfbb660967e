#include <Appcast/Markdown.h>

#include <Support/CaseName.h>
#include <Support/TestData.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

TEST(Markdown, rendersEveryKindOfBlock) {
    const std::string markdown(viewText(test::readTestData("Appcast/notes.md")));
    test::expectGolden("Appcast/notes.html", htmlFromMarkdown(markdown) + "\n");
}

struct MarkdownCase {
    const char* name;
    std::string_view markdown;
    std::string_view expected;
};

class MarkdownText : public testing::TestWithParam<MarkdownCase> {};

TEST_P(MarkdownText, becomesSafeHTML) {
    EXPECT_EQ(htmlFromMarkdown(GetParam().markdown), GetParam().expected);
}

using namespace std::string_view_literals;

INSTANTIATE_TEST_SUITE_P(
    Appcast, MarkdownText,
    testing::Values(
        MarkdownCase{"nothing", "", ""}, MarkdownCase{"quote", "> a", "<blockquote><p>a</p></blockquote>"},
        MarkdownCase{"nestedQuote", "> > a", "<blockquote><blockquote><p>a</p></blockquote></blockquote>"},
        MarkdownCase{"fence", "```swift\na < b\n```",
                     "<pre><code class=\"language-swift\">a &lt; b\n</code></pre>"},
        MarkdownCase{"languageWithQuotes", "```\"><script>\nx\n```",
                     "<pre><code class=\"language-&quot;&gt;&lt;script&gt;\">x\n</code></pre>"},
        MarkdownCase{"rawHTML", "a <script>alert(1)</script>",
                     "<p>a &lt;script&gt;alert(1)&lt;/script&gt;</p>"},
        MarkdownCase{"rawHTMLBlock", "<div onclick=\"x\">\nb\n</div>",
                     "<p>&lt;div onclick=&quot;x&quot;&gt;\nb\n&lt;/div&gt;</p>"},
        MarkdownCase{"endOfCDATA", "]]>", "<p>]]&gt;</p>"},
        MarkdownCase{"nul", "a\0b"sv,
                     "<p>a\xEF\xBF\xBD"
                     "b</p>"},
        MarkdownCase{"nulInLanguage", "```c\0\n```"sv,
                     "<pre><code class=\"language-c\xEF\xBF\xBD\"></code></pre>"},
        MarkdownCase{"notUTF8", "a\xFF\xC3", "<p>a\xEF\xBF\xBD\xEF\xBF\xBD</p>"},
        MarkdownCase{"windowsLines", "a\r\nb\r\n\r\nc", "<p>a\nb</p>\n<p>c</p>"},
        MarkdownCase{"entity", "&nbsp;&copy; &unknown &#65;", "<p>&nbsp;&copy; &amp;unknown &#65;</p>"},
        MarkdownCase{"http", "[a](http://x/?a=1&b=%20 \"t&quot;\")",
                     "<p><a href=\"http://x/?a=1&amp;b=%20\" title=\"t&quot;\">a</a></p>"},
        MarkdownCase{"mailto", "<me@example.com>",
                     "<p><a href=\"mailto:me@example.com\">me@example.com</a></p>"},
        MarkdownCase{"relative", "[a](notes/1.html) [b](#c) [d](/e:f) [g](?h:i) [j]()",
                     "<p><a href=\"notes/1.html\">a</a> <a href=\"#c\">b</a> <a href=\"/e:f\">d</a> "
                     "<a href=\"?h:i\">g</a> <a href=\"\">j</a></p>"},
        MarkdownCase{"addressInUnicode", "[a](<caf\u00e9 \"b\">)",
                     "<p><a href=\"caf%C3%A9%20%22b%22\">a</a></p>"},
        MarkdownCase{"javascript",
                     "[a](javascript:x) [b](JaVaScRiPt:x) [c](vbscript:x) [d](file:///x) [e](data:x)",
                     "<p><a>a</a> <a>b</a> <a>c</a> <a>d</a> <a>e</a></p>"},
        MarkdownCase{"hiddenColon", "[a](javascript&#58;x) [b](javascript&#x3A;x) [c](javascript&colon;x)",
                     "<p><a>a</a> <a>b</a> <a href=\"javascript&amp;colon;x\">c</a></p>"},
        MarkdownCase{"hiddenLetters", "[a](&#106;avascript:x) [b](java&Tab;script:x)",
                     "<p><a>a</a> <a>b</a></p>"},
        MarkdownCase{"controlCharacters", "[a](<\x01javascript:x>) [b](<java\tscript:x>)",
                     "<p><a>a</a> <a>b</a></p>"},
        MarkdownCase{"reference", "[a][r]\n\n[r]: ftp://x 'T'", "<p><a title=\"T\">a</a></p>"},
        MarkdownCase{"image", "![an *old* ![in](x) `c`](a.png 'T')",
                     "<p><img src=\"a.png\" alt=\"an old in c\" title=\"T\"></p>"},
        MarkdownCase{"emphasisIntoAnAddress", "*a ![b](c*) d",
                     "<p><em>a <img src=\"c*\" alt=\"b\"> d</em></p>"},
        MarkdownCase{"imageData", "![a\"b](data:image/png;base64,AA)", "<p><img alt=\"a&quot;b\"></p>"}),
    test::CaseName());

TEST(Markdown, takesDeepNesting) {
    EXPECT_FALSE(htmlFromMarkdown(std::string(20'000, '>') + " a").empty());
    EXPECT_FALSE(htmlFromMarkdown(std::string(20'000, '[') + "a").empty());
    EXPECT_FALSE(htmlFromMarkdown(std::string(20'000, '*') + "a").empty());
}

} // namespace
} // namespace halvo
