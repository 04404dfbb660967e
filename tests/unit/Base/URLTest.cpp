#include <Base/URL.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

URL url(std::string_view text) {
    const auto parsed = URL::parse(text);
    EXPECT_TRUE(parsed) << text;
    return parsed.value_or(URL());
}

TEST(URL, refusesWhatIsNotAnAbsoluteURL) {
    for (const char* text :
         {"", "cdn.example.com", "/path", "https://", "https:///x", "http:x", "https://a b", "ht tp://x",
          "https://x/%zz", "https://x/%2", "https://x/a\nb", "https://x/<a>", "1http://x",
          "https://ex\xc3\xa4mple.com\"", "https://x:port/", "://x"})
        EXPECT_FALSE(URL::parse(text)) << text;
}

TEST(URL, takesApartWhatItHolds) {
    const URL address = url("HTTPS://user@Example.com:8443/a%20b/My.App.dmg?x=1&y#top");
    EXPECT_EQ(address.scheme(), "https");
    EXPECT_EQ(address.host(), "Example.com");
    EXPECT_EQ(address.encodedPath(), "/a%20b/My.App.dmg");
    EXPECT_EQ(address.path(), "/a b/My.App.dmg");
    EXPECT_EQ(address.query(), "x=1&y");
    EXPECT_EQ(address.lastPathComponent(), "My.App.dmg");
    EXPECT_EQ(address.pathExtension(), "dmg");
    EXPECT_FALSE(url("https://x").query());
    EXPECT_EQ(url("https://x/dir.d/").pathExtension(), "d");
    EXPECT_EQ(url("https://[::1]:9000/b").host(), "[::1]");
    EXPECT_EQ(url("https://x/Caf\u00e9").absoluteString(), "https://x/Caf%C3%A9");
}

TEST(Appending, givesOneSlashAndEncodes) {
    const struct {
        const char* name;
        const char* base;
        const char* component;
        const char* expected;
    } cases[] = {{"bareHost", "https://x", "a.dmg", "https://x/a.dmg"},
                 {"openingSlash", "https://x/p", "/a.dmg", "https://x/p/a.dmg"},
                 {"nestedKey", "https://x", "apps/x/a b.dmg", "https://x/apps/x/a%20b.dmg"},
                 {"questionAndHash", "https://x", "a?b#c", "https://x/a%3Fb%23c"},
                 {"keepsQuery", "https://x/p?q=1#f", "a", "https://x/p/a?q=1#f"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(url(row.base).appendingPath(row.component).absoluteString(), row.expected);
    }
}

TEST(URL, addsQueryItems) {
    EXPECT_EQ(url("https://x/a").appendingQueryItem("v", "17").absoluteString(), "https://x/a?v=17");
    EXPECT_EQ(url("https://x/a?b=c#d").appendingQueryItem("v", "a b&").absoluteString(),
              "https://x/a?b=c&v=a%20b%26#d");
}

TEST(URL, turnsPathsIntoFileURLsAndBack) {
    const URL file = URL::file("/tmp/My App/../100% + caf\u00e9;.zip");
    EXPECT_EQ(file.absoluteString(), "file:///tmp/100%25%20%2B%20caf%C3%A9%3B.zip");
    EXPECT_EQ(file.filePath(), "/tmp/100% + caf\u00e9;.zip");
    EXPECT_EQ(URL::file("a.zip").filePath(), std::filesystem::current_path() / "a.zip");
}

TEST(PathExtension, followsTheLastDot) {
    EXPECT_EQ(pathExtension("a/MyApp.app/"), "app");
    EXPECT_EQ(pathExtension("a.b/c"), "");
    EXPECT_EQ(pathExtension(".hidden"), "");
    EXPECT_EQ(pathExtension("x.tar.ZIP"), "ZIP");
    EXPECT_EQ(pathExtension("x."), "");
}

TEST(PercentEncoding, isReversible) {
    std::string all;
    for (int byte = 0; byte < 256; ++byte)
        all += static_cast<char>(byte);
    EXPECT_EQ(percentDecoded(percentEncoded(all)), all);
    EXPECT_EQ(percentDecoded("a%2Fb+%4"), "a/b+%4");
    EXPECT_EQ(percentEncoded("a/b", "/"), "a/b");
}

} // namespace
} // namespace halvo
