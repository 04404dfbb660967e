#include <Support/CaseName.h>
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

struct HostileText {
    const char* name;
    std::string text;
    const char* shown;
    const char* shownOnOneLine;
};

class Sanitised : public testing::TestWithParam<HostileText> {};

TEST_P(Sanitised, hasNothingThatATerminalObeys) {
    EXPECT_EQ(sanitised(GetParam().text), GetParam().shown);
    EXPECT_EQ(sanitisedLine(GetParam().text), GetParam().shownOnOneLine);
    EXPECT_EQ(TerminalText::danger(GetParam().text).plainText(), GetParam().shown);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, Sanitised,
    testing::Values(HostileText{"clearScreen", "a\x1b[2Jb", "a\u241B[2Jb", "a\u241B[2Jb"},
                    HostileText{"windowTitle", "\x1b]0;x\a", "\u241B]0;x\u2407", "\u241B]0;x\u2407"},
                    HostileText{"eightBitSequence", "a\u009B2J", "a\uFFFD2J", "a\uFFFD2J"},
                    HostileText{"rawEightBitByte",
                                "a\x9B"
                                "2J",
                                "a\uFFFD2J", "a\uFFFD2J"},
                    HostileText{"carriageReturn", "true\rfalse", "true\u240Dfalse", "true\u240Dfalse"},
                    HostileText{"windowsLineBreak", "a\r\nb", "a\nb", "a b"},
                    HostileText{"carriageReturnAtTheEnd", "a\r", "a\u240D", "a\u240D"},
                    HostileText{"lineBreaksAndTabs", "a\n\n\tb", "a\n\n\tb", "a b"},
                    HostileText{"backspaceAndDelete", "a\b\x7F", "a\u2408\u2421", "a\u2408\u2421"},
                    HostileText{"zero", std::string("a\0b", 3), "a\u2400b", "a\u2400b"},
                    HostileText{"rightToLeftOverride", "gpj\u202Eexe", "gpj\uFFFDexe", "gpj\uFFFDexe"},
                    HostileText{"isolate", "a\u2066b\u2069", "a\uFFFDb\uFFFD", "a\uFFFDb\uFFFD"},
                    HostileText{"harmless", "Caf\u00E9 \u65E5\u672C \u00A0\U0001F600",
                                "Caf\u00E9 \u65E5\u672C \u00A0\U0001F600",
                                "Caf\u00E9 \u65E5\u672C \u00A0\U0001F600"}),
    test::CaseName());

} // namespace
} // namespace halvo
