#include <Support/CaseName.h>
#include <Support/TemporaryFolder.h>
#include <Terminal/TerminalDescription.h>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

namespace halvo {
namespace {

using Variables = std::map<std::string, std::string>;

VariableLookup lookUp(const Variables& variables) {
    return [&variables](const std::string& name) -> std::optional<std::string> {
        const auto found = variables.find(name);
        return found == variables.end() ? std::nullopt : std::optional(found->second);
    };
}

struct OutputCase {
    const char* name;
    std::optional<TerminalSize> size;
    Variables variables;
    TerminalDescription expected;
};

class DescribeOutput : public testing::TestWithParam<OutputCase> {};

TEST_P(DescribeOutput, decides) {
    EXPECT_EQ(describeOutput(GetParam().size, lookUp(GetParam().variables)), GetParam().expected);
}

constexpr TerminalSize size{100, 40};

INSTANTIATE_TEST_SUITE_P(
    Cases, DescribeOutput,
    testing::Values(
        OutputCase{"terminal", size, {{"TERM", "xterm"}}, {true, true, 100, 40}},
        OutputCase{"pipe", std::nullopt, {{"TERM", "xterm"}}, {false, false, 80, 24}},
        OutputCase{"dumbTerminal", size, {{"TERM", "dumb"}}, {false, false, 100, 40}},
        OutputCase{"unknownTerminal", size, {}, {false, false, 100, 40}},
        OutputCase{"noColour", size, {{"TERM", "xterm"}, {"NO_COLOR", "1"}}, {true, false, 100, 40}},
        OutputCase{"emptyNoColour", size, {{"TERM", "xterm"}, {"NO_COLOR", ""}}, {true, true, 100, 40}},
        OutputCase{"colourSwitchedOff", size, {{"TERM", "xterm"}, {"CLICOLOR", "0"}}, {true, false, 100, 40}},
        OutputCase{"forcedInAPipe", std::nullopt, {{"CLICOLOR_FORCE", "1"}}, {false, true, 80, 24}},
        OutputCase{"forcedByZero", std::nullopt, {{"CLICOLOR_FORCE", "0"}}, {false, false, 80, 24}},
        OutputCase{"refusalBeatsForce", std::nullopt, {{"CLICOLOR_FORCE", "1"}, {"NO_COLOR", "1"}}, {}},
        OutputCase{"sizeFromVariables",
                   std::nullopt,
                   {{"COLUMNS", "132"}, {"LINES", "50"}},
                   {false, false, 132, 50}},
        OutputCase{
            "terminalBeatsVariables", size, {{"TERM", "x"}, {"COLUMNS", "132"}}, {true, true, 100, 40}},
        OutputCase{"terminalWithoutSize",
                   TerminalSize(),
                   {{"TERM", "x"}, {"COLUMNS", "132"}},
                   {true, true, 132, 24}},
        OutputCase{"senselessWidth", std::nullopt, {{"COLUMNS", "-3"}, {"LINES", "many"}}, {}}),
    test::CaseName());

TEST(DetectTerminal, seesThatAFileIsNone) {
    const test::TemporaryFolder folder;
    const auto path = folder.write("output", "");
    const int descriptor = ::open(path.c_str(), O_WRONLY);
    EXPECT_EQ(detectTerminal(descriptor, lookUp({{"TERM", "xterm"}})), TerminalDescription());
    ::close(descriptor);
}

} // namespace
} // namespace halvo
