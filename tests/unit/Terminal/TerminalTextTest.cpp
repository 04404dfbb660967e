#include <Terminal/TerminalText.h>
#include <Terminal/Theme.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

TEST(TerminalText, quotesCommandsWhereThereIsNoColour) {
    const TerminalText text = "Run " + TerminalText::command("halvo login") + " to authenticate";
    EXPECT_EQ(text.plainText(), "Run `halvo login` to authenticate");
    EXPECT_EQ(text.rendered(Theme(), true), "Run \x1b[1;36mhalvo login\x1b[0m to authenticate");
}

TEST(TerminalText, appendsToItself) {
    TerminalText text = "a" + TerminalText::path("/b");
    text += text;
    EXPECT_EQ(text.plainText(), "a/ba/b");
}

TEST(Sanitised, hasNothingThatATerminalObeys) {
    const struct {
        const char* name;
        std::string text;
        const char* shown;
        const char* shownOnOneLine;
    } cases[] = {{"clearScreen", "a\x1b[2Jb", "a\u241B[2Jb", "a\u241B[2Jb"},
                 {"eightBitSequence", "a\u009B2J", "a\uFFFD2J", "a\uFFFD2J"},
                 {"rawEightBitByte",
                  "a\x9B"
                  "2J",
                  "a\uFFFD2J", "a\uFFFD2J"},
                 {"carriageReturn", "true\rfalse", "true\u240Dfalse", "true\u240Dfalse"},
                 {"windowsLineBreak", "a\r\nb", "a\nb", "a b"},
                 {"carriageReturnAtTheEnd", "a\r", "a\u240D", "a\u240D"},
                 {"lineBreaksAndTabs", "a\n\n\tb", "a\n\n\tb", "a b"},
                 {"backspaceAndDelete", "a\b\x7F", "a\u2408\u2421", "a\u2408\u2421"},
                 {"rightToLeftOverride", "gpj\u202Eexe", "gpj\uFFFDexe", "gpj\uFFFDexe"},
                 {"harmless", "Caf\u00E9 \u65E5\u672C \u00A0\U0001F600",
                  "Caf\u00E9 \u65E5\u672C \u00A0\U0001F600", "Caf\u00E9 \u65E5\u672C \u00A0\U0001F600"}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(sanitised(row.text), row.shown);
        EXPECT_EQ(sanitisedLine(row.text), row.shownOnOneLine);
        EXPECT_EQ(TerminalText::danger(row.text).plainText(), row.shown);
    }
}

} // namespace
} // namespace halvo
