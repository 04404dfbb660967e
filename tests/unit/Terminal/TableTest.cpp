#include <Base/Text.h>
#include <Base/Unicode.h>
#include <Terminal/Table.h>

#include <gtest/gtest.h>

namespace halvo {
namespace {

constexpr TerminalDescription pipe{};
constexpr TerminalDescription screen(std::size_t width) { return {true, false, width, 24}; }

std::string render(const Table& table, const TerminalDescription& terminal) {
    return "\n" + renderTable(table, Theme(), terminal);
}

Table releases() {
    return {.columns = {{"Version"},
                        {"Build", ColumnAlignment::trailing},
                        {"Status"},
                        {"ID", ColumnAlignment::leading, ColumnOverflow::keeps}},
            .rows = {{"1.0", "9", "Published, beta, Phased", "6A1F-01"},
                     {"\u65E5\u672C 2", "1234", "", "6A1F-02"},
                     {"Cafe\u0301", "77"}}};
}

TEST(Table, alignsByDisplayWidthInAPipe) {
    TerminalDescription narrowPipe = pipe; // where nothing is cut
    narrowPipe.width = 20;
    EXPECT_EQ(render(releases(), narrowPipe), R"(
Version  Build  Status                   ID
1.0          9  Published, beta, Phased  6A1F-01
日本 2    1234                           6A1F-02
)"
                                              "Cafe\u0301        77\n");
}

TEST(Table, cutsTheWidestColumnOnATerminal) {
    EXPECT_EQ(render(releases(), screen(42)), R"(
Version  Build  Status             ID
───────  ─────  ─────────────────  ───────
1.0          9  Published, beta,…  6A1F-01
日本 2    1234                     6A1F-02
)"
                                              "Cafe\u0301        77\n");
}

TEST(Table, wrapsWhereTheColumnAsksForIt) {
    Table table = releases();
    table.columns[2].overflow = ColumnOverflow::wraps;
    table.rows[0][2] = "Published, beta, Unbreakable-long-word";
    EXPECT_EQ(render(table, screen(40)), R"(
Version  Build  Status           ID
───────  ─────  ───────────────  ───────
1.0          9  Published,       6A1F-01
                beta,
                Unbreakable-lon
                g-word
日本 2    1234                   6A1F-02
)"
                                         "Cafe\u0301        77\n");
}

TEST(Table, coloursHeadersAndStyledCellsOnly) {
    const Table table{.columns = {{"App"}, {"Hosting"}}, .rows = {{TerminalText::primary("Demo"), "S3"}}};
    const TerminalDescription coloured{false, true, 80, 24};
    EXPECT_EQ(render(table, coloured), "\n\x1b[1mApp\x1b[0m   \x1b[1mHosting\x1b[0m\n"
                                       "\x1b[1mDemo\x1b[0m  S3\n");
}

TEST(Table, keepsRowsOnTheirLines) {
    const Table table{.columns = {{"Name"}, {"Note"}},
                      .rows = {{"two\nlines\t", "\x1b[2J"}, {"a", "b", "no column"}}};
    EXPECT_EQ(render(table, pipe), R"(
Name       Note
two lines  ␛[2J
a          b
)");
}

TEST(Table, fitsEveryWidthThatCanBeFitted) {
    Table table;
    for (int column = 0; column < 4; ++column)
        table.columns.push_back({"Column " + std::to_string(column), ColumnAlignment::leading,
                                 column % 2 == 0 ? ColumnOverflow::truncates : ColumnOverflow::wraps});
    for (int row = 0; row < 200; ++row)
        table.rows.push_back(
            {std::string(row % 50, 'a'), "b b b b b b b b", "\u65E5\u672C\u65E5\u672C\u65E5", "d"});
    for (std::size_t width = 30; width < 90; width += 7) {
        const std::vector<std::string> lines = split(renderTable(table, Theme(), screen(width)), '\n');
        EXPECT_GE(lines.size(), 202u);
        for (const std::string& line : lines)
            ASSERT_LE(displayWidth(line), width) << line;
    }
}

TEST(KeyValues, alignsValuesAndNeverCutsThem) {
    const std::string key(100, 'k');
    const KeyValueRows rows{{"SUFeedURL", "https://example.org/appcast.xml"},
                            {"SUPublicEDKey", TerminalText::primary(key)},
                            {"Empty", ""},
                            {"Notes", "first\n\nthird"}};
    EXPECT_EQ("\n" + renderKeyValues(rows, Theme(), screen(40)), R"(
SUFeedURL      https://example.org/appcast.xml
SUPublicEDKey  )" + key + R"(
Empty
Notes          first

               third
)");
}

} // namespace
} // namespace halvo
