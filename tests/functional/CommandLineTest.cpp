#include "ProgramFixture.h"

namespace halvo::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(ProgramTest, answersOnStandardOutput) {
    const std::string root = "OVERVIEW: A utility for publishing Mac apps with Halvo.\n\n";
    const std::string show = "OVERVIEW: Show configuration values for an app\n\n";
    const std::pair<Arguments, std::string> cases[] = {
        {{"--version"}, HALVO_VERSION "\n"},
        {{}, root},
        {{"-h"}, root},
        {{"help"}, root},
        {{"export"}, "OVERVIEW: Export local credentials for use in CI\n\n"},
        {{"help", "config", "show"}, show},
        {{"config", "show", "--help"}, show},
        {{"release", "No.app", "--help"}, "OVERVIEW: Build, sign, notarize, and publish an app release\n\n"},
    };
    for (const auto& [arguments, start] : cases) {
        const Outcome told = run(arguments);
        EXPECT_EQ(told.status, 0);
        EXPECT_THAT(told.output, StartsWith(start));
        EXPECT_THAT(told.error, IsEmpty());
    }
    EXPECT_THAT(run({"config", "show", "-h"}).output,
                HasSubstr("\nUSAGE: halvo config show --bundle-id <bundle-id> [--section <section>]\n"));
}

TEST_F(ProgramTest, failsWhenItsResultCannotBeWritten) {
    for (const char* prelude : {"exec >/dev/full;", "exec >&-;"})
        for (const Arguments& arguments : {Arguments{"--help"}, Arguments{"--version"}}) {
            const Outcome told = run(arguments, {}, prelude);
            EXPECT_EQ(told.status, 1);
            EXPECT_THAT(told.error, StartsWith("Error: The output cannot be written: "));
        }
}

TEST_F(ProgramTest, tellsUsageFaultsOnStandardError) {
    const struct {
        Arguments arguments;
        std::string message, usage, command;
    } cases[] = {
        {{"bogus"}, "Unknown command 'bogus'", "halvo <subcommand>", "halvo"},
        {{"apps", "list", "--what"}, "Unknown option '--what'", "halvo apps list", "halvo apps list"},
        {{"setup", "--hosting", "ftp"},
         "The value 'ftp' is invalid for '--hosting <hosting>'. Use halvo or s3",
         "halvo setup [<path>] [<options>]",
         "halvo setup"},
    };
    for (const auto& [arguments, message, usage, command] : cases) {
        const Outcome refused = run(arguments);
        EXPECT_EQ(refused.status, 64);
        EXPECT_THAT(refused.output, IsEmpty());
        EXPECT_EQ(refused.error, "Error: " + message + "\nUsage: " + usage + "\n  See '" + command +
                                     " --help' for more information.\n");
    }
}

TEST_F(ProgramTest, administersNoRecords) {
    for (const std::string records : {"products", "licenses"}) {
        const Outcome refused = run({records});
        EXPECT_EQ(refused.status, 1);
        EXPECT_EQ(refused.output + refused.error,
                  "This build of Halvo does not administer " + records +
                      ". Use the service's website, https://halvo.example, instead.\n");
    }
}

} // namespace
} // namespace halvo::test
