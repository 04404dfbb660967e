#include "ProgramFixture.h"

#include <Support/CaseName.h>

namespace halvo::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(ProgramTest, tellsItsVersion) {
    const Outcome told = run({"--version"});
    EXPECT_EQ(told.status, 0);
    EXPECT_EQ(told.output, HALVO_VERSION "\n");
    EXPECT_THAT(told.error, IsEmpty());
}

TEST_F(ProgramTest, failsWhenItsResultCannotBeWritten) {
    for (const char* prelude : {"exec >/dev/full;", "exec >&-;"})
        for (const Arguments& arguments : {Arguments{"--help"}, Arguments{"--version"}}) {
            const Outcome told = run(arguments, {}, prelude);
            EXPECT_EQ(told.status, 1);
            EXPECT_THAT(told.error, StartsWith("Error: The output cannot be written: "));
        }
}

struct HelpCase {
    const char* name;
    Arguments arguments;
    const char* overview;
    const char* usage;
};

class Help : public ProgramTest, public testing::WithParamInterface<HelpCase> {};

TEST_P(Help, goesToStandardOutput) {
    const Outcome told = run(GetParam().arguments);
    EXPECT_EQ(told.status, 0);
    EXPECT_THAT(told.output, StartsWith(std::string("OVERVIEW: ") + GetParam().overview + "\n\n"));
    EXPECT_THAT(told.output, HasSubstr(std::string("\nUSAGE: ") + GetParam().usage + "\n"));
    EXPECT_THAT(told.error, IsEmpty());
}

constexpr const char* rootAbstract = "A utility for publishing Mac apps with Halvo.";
constexpr const char* showAbstract = "Show configuration values for an app";
constexpr const char* showUsage = "halvo config show --bundle-id <bundle-id> [--section <section>]";

INSTANTIATE_TEST_SUITE_P(
    CommandLine, Help,
    testing::Values(HelpCase{"noArguments", {}, rootAbstract, "halvo <subcommand>"},
                    HelpCase{"rootOption", {"--help"}, rootAbstract, "halvo <subcommand>"},
                    HelpCase{"rootShortOption", {"-h"}, rootAbstract, "halvo <subcommand>"},
                    HelpCase{"rootCommand", {"help"}, rootAbstract, "halvo <subcommand>"},
                    HelpCase{"groupAlone",
                             {"export"},
                             "Export local credentials for use in CI",
                             "halvo export <subcommand>"},
                    HelpCase{"nestedGroup",
                             {"help", "config", "set"},
                             "Set a configuration value",
                             "halvo config set <subcommand>"},
                    HelpCase{"nestedCommand", {"help", "config", "show"}, showAbstract, showUsage},
                    HelpCase{"nestedOption", {"config", "show", "--help"}, showAbstract, showUsage},
                    HelpCase{"winsOverMissingArguments",
                             {"verify", "--help"},
                             "Verify the Ed25519 signature of a file.",
                             "halvo verify <path> <signature> <public-key>"},
                    HelpCase{"winsOverOtherArguments",
                             {"release", "No.app", "--help"},
                             "Build, sign, notarize, and publish an app release",
                             "halvo release [<path>] [<options>]"}),
    CaseName());

struct UsageCase {
    const char* name;
    Arguments arguments;
    const char* message;
    const char* usage;
    const char* command;
};

class UsageFault : public ProgramTest, public testing::WithParamInterface<UsageCase> {};

TEST_P(UsageFault, isToldOnStandardError) {
    const auto& [name, arguments, message, usage, command] = GetParam();
    const Outcome refused = run(arguments);
    EXPECT_EQ(refused.status, 64);
    EXPECT_THAT(refused.output, IsEmpty());
    EXPECT_EQ(refused.error, std::string("Error: ") + message + "\nUsage: " + usage + "\n  See '" + command +
                                 " --help' for more information.\n");
}

constexpr const char* releaseUsage = "halvo release [<path>] [<options>]";

INSTANTIATE_TEST_SUITE_P(
    CommandLine, UsageFault,
    testing::Values(
        UsageCase{"unknownCommand", {"bogus"}, "Unknown command 'bogus'", "halvo <subcommand>", "halvo"},
        UsageCase{"unknownSubcommand",
                  {"apps", "bogus"},
                  "Unknown command 'bogus'",
                  "halvo apps <subcommand>",
                  "halvo apps"},
        UsageCase{"unknownOption",
                  {"apps", "list", "--what"},
                  "Unknown option '--what'",
                  "halvo apps list",
                  "halvo apps list"},
        UsageCase{"unknownOptionWithValue",
                  {"release", "--bogus=1"},
                  "Unknown option '--bogus'",
                  releaseUsage,
                  "halvo release"},
        UsageCase{"surplusArgument",
                  {"release", "A.app", "B.app"},
                  "Unexpected argument 'B.app'",
                  releaseUsage,
                  "halvo release"},
        UsageCase{"missingArgument",
                  {"verify", "a.zip"},
                  "Missing expected argument '<signature>'",
                  "halvo verify <path> <signature> <public-key>",
                  "halvo verify"},
        UsageCase{"missingOption",
                  {"export", "sparkle-key"},
                  "Missing expected argument '-b, --bundle-id <bundle-id>'",
                  "halvo export sparkle-key --bundle-id <bundle-id>",
                  "halvo export sparkle-key"},
        UsageCase{"missingValue",
                  {"release", "--scheme"},
                  "Missing value for '--scheme <scheme>'",
                  releaseUsage,
                  "halvo release"},
        UsageCase{"refusedFormat",
                  {"release", "--format", "JSON"},
                  "The value 'JSON' is invalid for '--format <format>'. Use text or json",
                  releaseUsage,
                  "halvo release"},
        UsageCase{"refusedBuildNumber",
                  {"release", "--build-number", "0"},
                  "The value '0' is invalid for '--build-number <build-number>'. Use a positive integer or "
                  "'timestamp' or 'auto'",
                  releaseUsage,
                  "halvo release"},
        UsageCase{"refusedHosting",
                  {"setup", "--hosting", "ftp"},
                  "The value 'ftp' is invalid for '--hosting <hosting>'. Use halvo or s3",
                  "halvo setup [<path>] [<options>]",
                  "halvo setup"}),
    CaseName());

struct RecordsCase {
    const char* name;
    Arguments arguments;
    const char* message;
};

class NotAdministered : public ProgramTest, public testing::WithParamInterface<RecordsCase> {};

TEST_P(NotAdministered, failsAndSaysWhere) {
    const Outcome refused = run(GetParam().arguments);
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.output, IsEmpty());
    EXPECT_EQ(refused.error, std::string(GetParam().message) + "\n");
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, NotAdministered,
    testing::Values(
        RecordsCase{"products",
                    {"products"},
                    "This build of Halvo does not administer products. Use the service's website, "
                    "https://halvo.example, instead."},
        RecordsCase{"licenses",
                    {"licenses"},
                    "This build of Halvo does not administer licenses. Use the service's website, "
                    "https://halvo.example, instead."}),
    CaseName());

} // namespace
} // namespace halvo::test
