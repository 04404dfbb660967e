#include <Terminal/TerminalDescription.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

using Variables = std::map<std::string, std::string>;

VariableLookup lookUp(const Variables& variables) {
    return [&variables](const std::string& name) -> std::optional<std::string> {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    };
}

constexpr TerminalSize size{100, 40};

TEST(DescribeOutput, decides) {
    const struct {
        const char* name;
        std::optional<TerminalSize> size;
        Variables variables;
        TerminalDescription expected;
    } cases[] = {
        {"terminal", size, {{"TERM", "xterm"}}, {true, true, 100, 40}},
        {"pipe", std::nullopt, {{"TERM", "xterm"}}, {false, false, 80, 24}},
        {"dumbTerminal", size, {{"TERM", "dumb"}}, {false, false, 100, 40}},
        {"noColour", size, {{"TERM", "xterm"}, {"NO_COLOR", "1"}}, {true, false, 100, 40}},
        {"emptyNoColour", size, {{"TERM", "xterm"}, {"NO_COLOR", ""}}, {true, true, 100, 40}},
        {"colourSwitchedOff", size, {{"TERM", "xterm"}, {"CLICOLOR", "0"}}, {true, false, 100, 40}},
        {"forcedInAPipe", std::nullopt, {{"CLICOLOR_FORCE", "1"}}, {false, true, 80, 24}},
        {"forcedByZero", std::nullopt, {{"CLICOLOR_FORCE", "0"}}, {false, false, 80, 24}},
        {"refusalBeatsForce", std::nullopt, {{"CLICOLOR_FORCE", "1"}, {"NO_COLOR", "1"}}, {}},
        {"sizeFromVariables", std::nullopt, {{"COLUMNS", "132"}, {"LINES", "50"}}, {false, false, 132, 50}},
        {"terminalWithoutSize", TerminalSize(), {{"TERM", "x"}, {"COLUMNS", "132"}}, {true, true, 132, 24}},
        {"senselessWidth", std::nullopt, {{"COLUMNS", "-3"}, {"LINES", "many"}}, {}}};
    for (const auto& row : cases) {
        SCOPED_TRACE(row.name);
        EXPECT_EQ(describeOutput(row.size, lookUp(row.variables)), row.expected);
    }
}

} // namespace
} // namespace halvo
