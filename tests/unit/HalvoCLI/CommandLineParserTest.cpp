#include "CommandLine/CommandLineParser.h"

#include "Commands/Commands.h"
#include "Commands/Release/ReleaseOptions.h"

#include <Support/CaseName.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using testing::HasSubstr;
using testing::StartsWith;
using Outcome = ParsedCommandLine;
using Line = std::vector<std::string>;

/// A command that only keeps the options of `release`.
class Probe final : public Command {
public:
    explicit Probe(ReleaseOptions& options) : options(options) {}
    std::string_view name() const override { return "release"; }
    std::string_view abstract() const override { return "Release"; }
    void declare(CommandArguments& arguments) override { options.declare(arguments); }
    void run(Services&) override {}

private:
    ReleaseOptions& options;
};

class Sign final : public Command {
public:
    std::string_view name() const override { return "sign"; }
    std::string_view abstract() const override { return "Sign"; }
    void run(Services&) override {}
};

class ProbeRoot final : public CommandGroup {
public:
    explicit ProbeRoot(ReleaseOptions& options) {
        add(std::make_unique<Probe>(options), std::make_unique<Sign>());
    }
    std::string_view name() const override { return "halvo"; }
    std::string_view abstract() const override { return "Root"; }
};

/// The options that a line of `release` sets, all of them as one text to compare.
std::string optionsOf(Line line) {
    ReleaseOptions options;
    ProbeRoot root(options);
    line.insert(line.begin(), "release");
    const Outcome parsed = parseCommandLine(root, "0", line);
    if (const auto* fault = std::get_if<Outcome::UsageFault>(&parsed.outcome))
        return fault->text.substr(0, fault->text.find('\n'));
    std::string text;
    const auto say = [&](const char* name, const std::optional<std::string>& value) {
        if (value)
            text += std::string(text.empty() ? "" : " ") + name + "=<" + *value + ">";
    };
    const auto flag = [](const std::optional<bool>& value) -> std::optional<std::string> {
        if (!value)
            return std::nullopt;
        return *value ? "on" : "off";
    };
    say("path", options.path);
    say("scheme", options.scheme);
    say("notes", options.releaseNotes);
    say("channel", options.channel);
    say("output", options.output);
    say("draft", options.draft ? flag(true) : std::nullopt);
    say("watermark", flag(options.watermark));
    if (options.format == OutputFormat::json)
        say("format", "json");
    if (options.buildNumber)
        say("build", std::to_string(options.buildNumber->resolve(Date()).value_or(0)));
    return text;
}

struct LineRow {
    const char* name;
    Line line;
    const char* result;
};

class ReleaseLine : public testing::TestWithParam<LineRow> {};

TEST_P(ReleaseLine, setsTheOptions) { EXPECT_EQ(optionsOf(GetParam().line), GetParam().result); }

INSTANTIATE_TEST_SUITE_P(
    CommandLine, ReleaseLine,
    testing::Values(
        LineRow{"nothing", {}, ""}, LineRow{"path", {"Demo.app"}, "path=<Demo.app>"},
        LineRow{"optionsAroundThePath",
                {"--draft", "x.app", "--scheme", "S"},
                "path=<x.app> scheme=<S> draft=<on>"},
        LineRow{"valueBehindEqualsSign", {"--scheme=A=B"}, "scheme=<A=B>"},
        LineRow{"emptyValue", {"--channel", "", "x.app"}, "path=<x.app> channel=<>"},
        LineRow{"emptyValueBehindEqualsSign", {"--channel=", "x.app"}, "path=<x.app> channel=<>"},
        LineRow{"lastWins", {"--channel", "a", "--channel", "b"}, "channel=<b>"},
        LineRow{"repeatedFlag", {"--draft", "--draft"}, "draft=<on>"},
        LineRow{"lastOfFlagAndInversionWins", {"--watermark", "--no-watermark"}, "watermark=<off>"},
        LineRow{"lastOfInversionAndFlagWins", {"--no-watermark", "--watermark"}, "watermark=<on>"},
        LineRow{"shortOption", {"-o", "out"}, "output=<out>"},
        LineRow{"shortOptionWithoutBlank", {"-oout"}, "output=<out>"},
        LineRow{"valueLikeAList", {"--release-notes", "[a,b]"}, "notes=<[a,b]>"},
        LineRow{"valueOfSeveralLines", {"--release-notes", "- one\n- two"}, "notes=<- one\n- two>"},
        LineRow{"valueNamedLikeACommand", {"--scheme", "sign"}, "scheme=<sign>"},
        LineRow{"pathNamedLikeACommand", {"sign"}, "path=<sign>"},
        LineRow{"pathBehindTwoDashes", {"--", "--draft"}, "path=<--draft>"},
        LineRow{"format", {"--format", "json"}, "format=<json>"},
        LineRow{"autoBuildNumberInAnyCase", {"--build-number", "AUTO"}, "build=<0>"},
        LineRow{"buildNumber", {"--build-number", "7"}, "build=<7>"},
        LineRow{"valueForgottenAtTheEnd", {"--channel"}, "Error: Missing value for '--channel <channel>'"},
        LineRow{"valueForgottenBeforeAnOption",
                {"--channel", "--draft"},
                "Error: Missing value for '--channel <channel>'"},
        LineRow{"flagWithAValue", {"--draft=false"}, "Error: The flag '--draft' takes no value"},
        LineRow{"inversionWithAValue",
                {"--no-watermark=true"},
                "Error: The flag '--no-watermark' takes no value"},
        LineRow{"unknownOption", {"--nope=3"}, "Error: Unknown option '--nope'"},
        LineRow{"abbreviatedOption", {"--sch", "S"}, "Error: Unknown option '--sch'"},
        LineRow{"secondPath", {"a.app", "sign"}, "Error: Unexpected argument 'sign'"},
        LineRow{"badFormat",
                {"--format", "xml"},
                "Error: The value 'xml' is invalid for '--format <format>'. Use text or json"},
        LineRow{"formatInCapitals",
                {"--format", "JSON"},
                "Error: The value 'JSON' is invalid for '--format <format>'. Use text or json"},
        LineRow{
            "negativeBuildNumber",
            {"--build-number", "-1"},
            "Error: The value '-1' is invalid for '--build-number <build-number>'. Use a positive integer "
            "or 'timestamp' or 'auto'"}),
    test::CaseName());

Outcome parseHalvo(const std::unique_ptr<Command>& root, const Line& line) {
    return parseCommandLine(*root, "0.1.0", line);
}

std::string printed(const Line& line) {
    const auto root = makeRootCommand();
    const Outcome parsed = parseHalvo(root, line);
    const auto* print = std::get_if<Outcome::Print>(&parsed.outcome);
    return print ? print->text : "printed nothing";
}

TEST(CommandTree, listsTheCommandsInOrder) {
    const std::string help = printed({});
    std::vector<std::string> listed;
    std::istringstream lines(help.substr(help.find("SUBCOMMANDS:\n") + 13));
    for (std::string line; std::getline(lines, line) && !line.empty();)
        if (line.size() > 2 && line[2] != ' ')
            listed.push_back(line.substr(2, line.find(' ', 2) - 2));
    EXPECT_THAT(listed, testing::ElementsAre("apps", "config", "create-dmg", "export", "install", "login",
                                             "logout", "post-archive", "licenses", "products", "register",
                                             "release", "releases", "setup", "sign", "status", "uninstall",
                                             "verify", "whoami", "dmg-template"));
    EXPECT_THAT(help, HasSubstr("OVERVIEW: A utility for publishing Mac apps with Halvo.\n"));
    // The explanations of the examples stand in column 39.
    for (const char* example :
         {"halvo login", "halvo setup MyApp.app", "halvo release --scheme MyApp", "halvo apps list"}) {
        const std::string left = "\n  " + std::string(example);
        EXPECT_THAT(help, HasSubstr(left + std::string(39 - left.size(), ' '))) << example;
    }
}

TEST(CommandTree, answersHelpAndVersion) {
    EXPECT_EQ(printed({"--version"}), "0.1.0\n");
    EXPECT_EQ(printed({"--help"}), printed({}));
    EXPECT_EQ(printed({"help"}), printed({}));
    const std::string group = printed({"config", "set"});
    EXPECT_EQ(printed({"help", "config", "set"}), group);
    EXPECT_EQ(printed({"config", "set", "-h"}), group);
    for (const char* below : {"\n  release ", "\n  s3 ", "\n  app "})
        EXPECT_THAT(group, HasSubstr(below));
    const std::string leaf = printed({"help", "releases", "delete"});
    EXPECT_THAT(leaf, StartsWith("OVERVIEW: Delete a release\n"));
    EXPECT_THAT(
        leaf,
        HasSubstr(
            "\n  -b, --bundle-id <bundle-id>\n                          Bundle identifier of the app\n"));
    EXPECT_THAT(leaf, HasSubstr("Skip confirmation prompt"));
}

TEST(CommandTree, selectsTheDeepestCommand) {
    const auto root = makeRootCommand();
    const Outcome parsed = parseHalvo(root, {"releases", "list", "-b", "com.example.Demo"});
    ASSERT_TRUE(std::holds_alternative<Outcome::Run>(parsed.outcome));
    const auto& run = std::get<Outcome::Run>(parsed.outcome);
    EXPECT_EQ(run.command->name(), "list");
    EXPECT_THAT(run.help, StartsWith("OVERVIEW: List releases for an app\n"));
}

struct FaultRow {
    const char* name;
    Line line;
    const char* text;
};

class HalvoFault : public testing::TestWithParam<FaultRow> {};

TEST_P(HalvoFault, saysWhatIsWrongAndHowItGoes) {
    const auto root = makeRootCommand();
    const Outcome parsed = parseHalvo(root, GetParam().line);
    ASSERT_TRUE(std::holds_alternative<Outcome::UsageFault>(parsed.outcome));
    EXPECT_EQ(std::get<Outcome::UsageFault>(parsed.outcome).text, GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    CommandLine, HalvoFault,
    testing::Values(FaultRow{"unknownCommand",
                             {"nosuch"},
                             "Error: Unknown command 'nosuch'\nUsage: halvo <subcommand>\n"
                             "  See 'halvo --help' for more information.\n"},
                    FaultRow{"missingOption",
                             {"releases", "delete", "ID"},
                             "Error: Missing expected argument '-b, --bundle-id <bundle-id>'\n"
                             "Usage: halvo releases delete <id> --bundle-id <bundle-id> [<options>]\n"
                             "  See 'halvo releases delete --help' for more information.\n"},
                    FaultRow{"confirmationIsNoValue",
                             {"releases", "delete", "ID", "-b", "x", "--yes=false"},
                             "Error: The flag '--yes' takes no value\n"
                             "Usage: halvo releases delete <id> --bundle-id <bundle-id> [<options>]\n"
                             "  See 'halvo releases delete --help' for more information.\n"}),
    test::CaseName());

} // namespace
} // namespace halvo
