#include "PseudoTerminal.h"

#include <Support/CaseName.h>
#include <Support/TerminalBuffer.h>

#include <gtest/gtest.h>

#include <future>

namespace halvo {
namespace {

using test::PseudoTerminal;

MonotonicClock steadyClock() {
    return [] { return std::chrono::steady_clock::now(); };
}

class Prompt : public testing::Test {
protected:
    /// Asks on a thread of its own, so that the test can answer.
    template<typename Ask>
    auto ask(Ask question) {
        return std::async(std::launch::async, [this, question] { return question(terminal); });
    }
    std::future<std::string> askText(const TextQuestion& question) {
        return ask([question](Terminal& kit) { return kit.textPrompt(question); });
    }

    PseudoTerminal pseudoTerminal;
    Terminal terminal{pseudoTerminal.streams(), Theme(), steadyClock()};
};

const TextQuestion email{.title = "Email", .prompt = "What is your email address?"};
const TextQuestion password{.title = "Password", .prompt = "What is your password?", .secure = true};

struct EditingCase {
    const char* name;
    const char* keys;
    const char* answer;
};

class Editing : public Prompt, public testing::WithParamInterface<EditingCase> {};

TEST_P(Editing, givesTheLineAsEdited) {
    auto answer = askText(email);
    pseudoTerminal.expectToSee("❯");
    pseudoTerminal.type(GetParam().keys);
    pseudoTerminal.type("\r");
    EXPECT_EQ(answer.get(), GetParam().answer);
    EXPECT_TRUE(pseudoTerminal.isInLineMode());
}

INSTANTIATE_TEST_SUITE_P(
    Keys, Editing,
    testing::Values(EditingCase{"plain", "me@example.org", "me@example.org"},
                    EditingCase{"backspace", "abc\x7F\b", "a"},
                    EditingCase{"cursorKeys", "ac\x1b[Db\x1b[Cd", "abcd"},
                    EditingCase{"applicationCursorKeys", "ac\x1bODb\x1bOCd", "abcd"},
                    EditingCase{"homeAndEndKeys", "bc\x1b[Ha\x1b[Fd\x1b[1~<\x1b[4~>", "<abcd>"},
                    EditingCase{"deleteKey", "abc\x1b[D\x1b[D\x1b[3~", "ac"},
                    EditingCase{"controlDDeletesForward", "abc\x01\x04", "bc"},
                    EditingCase{"deleteToStart", "abc\x1b[D\x15", "c"},
                    EditingCase{"deleteToEnd", "abc\x1b[D\x0B", "ab"},
                    EditingCase{"deleteWord",
                                "one two  \x17"
                                "x",
                                "one x"},
                    EditingCase{"wordMoves",
                                "one two three\x1b[1;5D\x1b"
                                "b+\x1b[1;5C-\x1b"
                                "f!",
                                "one +two- three!"},
                    EditingCase{"wideCharacters", "日本語\x1b[D\x7F", "日語"},
                    EditingCase{"combiningMarksGoWithTheirLetter", "e\u0301x\x1b[D\x7F", "x"},
                    EditingCase{"unknownKeysAreIgnored", "a\x1b[15~\x1b[200~\x07\tb", "ab"},
                    EditingCase{"bytesThatAreNoText",
                                "a\xFF\x80"
                                "b",
                                "ab"}),
    test::CaseName());

TEST_F(Prompt, showsTheQuestionAndCollapsesToTheAnswer) {
    auto answer = ask([](Terminal& kit) {
        return kit.textPrompt({.title = "S3 Region",
                               .prompt = "What is the S3 region?",
                               .description = "As given.",
                               .defaultValue = "us-east-1"});
    });
    pseudoTerminal.expectToSee("S3 Region\nWhat is the S3 region?\nAs given.\n❯ us-east-1");
    pseudoTerminal.type("\r");
    EXPECT_EQ(answer.get(), "us-east-1");
    terminal.print("after");
    pseudoTerminal.expectToSee("after");
    pseudoTerminal.expectScreen("✔ S3 Region: us-east-1\nafter");
}

TEST_F(Prompt, neverShowsASecret) {
    TextQuestion question = password;
    question.collapseOnAnswer = false;
    auto answer = askText(question);
    pseudoTerminal.expectToSee("❯");
    pseudoTerminal.type("zq\x7Fzq");
    pseudoTerminal.expectToSee("❯ •••");
    pseudoTerminal.type("\r");
    EXPECT_EQ(answer.get(), "zzq");
    pseudoTerminal.expectToSee("✔ Password: (hidden)");
    for (const char secret : {'z', 'q'})
        EXPECT_EQ(pseudoTerminal.transcript().find(secret), std::string::npos);
    pseudoTerminal.expectScreen("✔ Password: (hidden)");
}

TEST_F(Prompt, asksUntilTheAnswerIsRight) {
    TextQuestion question = email;
    question.validation = [](const std::string& answer) {
        return answer.empty() ? std::optional<std::string>("An address is needed.") : std::nullopt;
    };
    auto answer = askText(question);
    pseudoTerminal.expectToSee("❯");
    pseudoTerminal.type("\r");
    pseudoTerminal.expectToSee("❯\nAn address is needed.");
    pseudoTerminal.type("me\r");
    EXPECT_EQ(answer.get(), "me");
    pseudoTerminal.expectScreen("✔ Email: me");
}

TEST_F(Prompt, scrollsALongAnswerInItsLine) {
    auto answer = askText(email);
    pseudoTerminal.expectToSee("❯");
    const std::string typed = std::string(80, 'a') + std::string(40, 'b');
    pseudoTerminal.type(typed);
    pseudoTerminal.expectToSee("❯ " + typed.substr(typed.size() - 56));
    pseudoTerminal.type("\x01");
    pseudoTerminal.expectToSee("address?\n❯ " + typed.substr(0, 57));
    pseudoTerminal.type("\r");
    EXPECT_EQ(answer.get(), typed);
}

TEST_F(Prompt, wrapsALongQuestionAndRedrawsAllOfIt) {
    auto answer = ask([](Terminal& kit) {
        return kit.yesOrNoChoicePrompt({.question =
                                            "This question is so long that it does not fit into one line of "
                                            "the terminal, with a hostile name: \x1b[2J"});
    });
    pseudoTerminal.expectToSee("❯ Yes    No");
    pseudoTerminal.type("\t");
    pseudoTerminal.expectToSee("  Yes  ❯ No");
    pseudoTerminal.expectScreen("This question is so long that it does not fit into one line\n"
                                "of the terminal, with a hostile name: ␛[2J\n"
                                "  Yes  ❯ No   y/n, Enter");
    pseudoTerminal.type("\r");
    EXPECT_FALSE(answer.get());
}

struct YesOrNoCase {
    const char* name;
    bool defaultAnswer;
    const char* keys;
    bool answer;
};

class YesOrNo : public Prompt, public testing::WithParamInterface<YesOrNoCase> {};

TEST_P(YesOrNo, takesTheKeys) {
    auto answer = ask([](Terminal& kit) {
        return kit.yesOrNoChoicePrompt({.question = "Go on?", .defaultAnswer = GetParam().defaultAnswer});
    });
    pseudoTerminal.expectToSee("No");
    pseudoTerminal.type(GetParam().keys);
    EXPECT_EQ(answer.get(), GetParam().answer);
    pseudoTerminal.expectToSee(GetParam().answer ? "✔ Go on? Yes" : "✔ Go on? No");
    EXPECT_TRUE(pseudoTerminal.isInLineMode());
}

INSTANTIATE_TEST_SUITE_P(Keys, YesOrNo,
                         testing::Values(YesOrNoCase{"enterTakesYes", true, "\r", true},
                                         YesOrNoCase{"enterTakesNo", false, "\r", false},
                                         YesOrNoCase{"y", false, "y", true},
                                         YesOrNoCase{"n", true, "N", false},
                                         YesOrNoCase{"right", true, "\x1b[C\r", false},
                                         YesOrNoCase{"otherKeysDoNotAnswer", true, "x5 \t\n", false}),
                         test::CaseName());

struct ChoiceCase {
    const char* name;
    const char* keys;
    std::size_t answer;
};

class Choice : public Prompt, public testing::WithParamInterface<ChoiceCase> {};

TEST_P(Choice, takesTheKeys) {
    auto answer = ask([](Terminal& kit) {
        return kit.singleChoicePrompt(
            {.question = "Hosting?", .options = {"Halvo", "S3", "None"}, .selected = 1});
    });
    pseudoTerminal.expectToSee("Hosting?\n  Halvo\n❯ S3\n  None\n  ↑/↓, Enter");
    pseudoTerminal.type(GetParam().keys);
    EXPECT_EQ(answer.get(), GetParam().answer);
    EXPECT_TRUE(pseudoTerminal.isInLineMode());
}

INSTANTIATE_TEST_SUITE_P(Keys, Choice,
                         testing::Values(ChoiceCase{"enter", "\r", 1},
                                         ChoiceCase{"around", "\x1b[B\x1b[B\r", 0},
                                         ChoiceCase{"letters", "jjjk\r", 0}, ChoiceCase{"number", "3\r", 2},
                                         ChoiceCase{"numberOfNoOption", "9\r", 1}),
                         test::CaseName());

TEST(ChoicePrompt, showsAWindowOfALongList) {
    PseudoTerminal pseudoTerminal(20, 10);
    Terminal terminal(pseudoTerminal.streams(), Theme(), steadyClock());
    auto answer = std::async(std::launch::async, [&] {
        ChoiceQuestion question{.question = "Which?"};
        for (int option = 1; option <= 30; ++option)
            question.options.push_back("Option " + std::to_string(option) + " with a long name");
        return terminal.singleChoicePrompt(question);
    });
    pseudoTerminal.expectToSee("❯ Option 1 with a…\n");
    pseudoTerminal.type(std::string(14, 'j'));
    pseudoTerminal.expectToSee("15 of 30");
    pseudoTerminal.expectScreen(R"(Which?
  Option 12 with a…
  Option 13 with a…
  Option 14 with a…
❯ Option 15 with a…
  Option 16 with a…
  Option 17 with a…
  Option 18 with a…
  15 of 30   ↑/↓,…)");
    pseudoTerminal.type("\r");
    EXPECT_EQ(answer.get(), 14u);
    pseudoTerminal.expectToSee("✔ Which? Option 15");
}

TEST_F(Prompt, failsWhenTheInputEnds) {
    auto answer = askText(password);
    pseudoTerminal.expectToSee("❯");
    pseudoTerminal.type("\x04");
    try {
        answer.get();
        FAIL();
    } catch (const PromptError& error) {
        EXPECT_TRUE(std::holds_alternative<PromptError::EndOfInput>(error.which));
        EXPECT_EQ(error.description(), "The input ended before \"What is your password?\" was answered.");
    }
    EXPECT_TRUE(pseudoTerminal.isInLineMode());
}

TEST_F(Prompt, failsWhenTheTerminalIsGone) {
    auto answer = askText(password);
    pseudoTerminal.expectToSee("❯");
    pseudoTerminal.hangUp();
    EXPECT_THROW(answer.get(), PromptError);
}

TEST(PromptWithoutATerminal, namesWhatAnswersTheQuestion) {
    test::BufferTerminal buffers({}, "yes\n");
    EXPECT_FALSE(buffers.terminal.interactive());
    try {
        buffers.terminal.singleChoicePrompt({.question = "How would you like to host\nDemo?",
                                             .options = {"Halvo", "S3"},
                                             .hint = "Pass --hosting halvo or --hosting s3."});
        FAIL();
    } catch (const PromptError& error) {
        EXPECT_TRUE(std::holds_alternative<PromptError::NotInteractive>(error.which));
        EXPECT_EQ(error.description(),
                  "\"How would you like to host Demo?\" cannot be asked without a terminal. "
                  "Pass --hosting halvo or --hosting s3.");
    }
    EXPECT_THROW(buffers.terminal.textPrompt(email), PromptError);
    EXPECT_THROW(buffers.terminal.yesOrNoChoicePrompt({.question = "Go on?"}), PromptError);
    EXPECT_EQ(buffers.output->text + buffers.error->text, "");
}

} // namespace
} // namespace halvo
