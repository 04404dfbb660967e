#include "CommandLine/CommandLineParser.h"

#include "Commands/Commands.h"
#include "Commands/Release/ReleaseOptions.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace halvo {
namespace {

using testing::HasSubstr;
using Outcome = ParsedCommandLine;
using Line = std::vector<std::string>;

/// A command that only keeps the options of `release`.
class Probe final : public Command {
public:
    Probe(std::string_view called, ReleaseOptions& options) : called(called), options(options) {}
    std::string_view name() const override { return called; }
    std::string_view abstract() const override { return called; }
    void declare(CommandArguments& arguments) override { options.declare(arguments); }
    void run(Services&) override {}

private:
    std::string_view called;
    ReleaseOptions& options;
};

class ProbeRoot final : public CommandGroup {
public:
    explicit ProbeRoot(ReleaseOptions& options) {
        add(std::make_unique<Probe>("release", options), std::make_unique<Probe>("sign", options));
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

TEST(ReleaseLine, setsTheOptions) {
    const std::pair<Line, const char*> cases[] = {
        {{}, ""},
        {{"Demo.app"}, "path=<Demo.app>"},
        {{"--draft", "x.app", "--scheme", "S"}, "path=<x.app> scheme=<S> draft=<on>"},
        {{"--scheme=A=B"}, "scheme=<A=B>"},
        {{"--channel", "", "x.app"}, "path=<x.app> channel=<>"},
        {{"--channel=", "x.app"}, "path=<x.app> channel=<>"},
        {{"--channel", "a", "--channel", "b"}, "channel=<b>"},
        {{"--draft", "--draft"}, "draft=<on>"},
        {{"--watermark", "--no-watermark"}, "watermark=<off>"},
        {{"--no-watermark", "--watermark"}, "watermark=<on>"},
        {{"-o", "out"}, "output=<out>"},
        {{"-oout"}, "output=<out>"},
        {{"--release-notes", "[a,b]"}, "notes=<[a,b]>"},
        {{"--release-notes", "- one\n- two"}, "notes=<- one\n- two>"},
        {{"--scheme", "sign"}, "scheme=<sign>"},
        {{"sign"}, "path=<sign>"},
        {{"--", "--draft"}, "path=<--draft>"},
        {{"--format", "json"}, "format=<json>"},
        {{"--build-number", "AUTO"}, "build=<0>"},
        {{"--build-number", "7"}, "build=<7>"},
        {{"--channel"}, "Error: Missing value for '--channel <channel>'"},
        {{"--channel", "--draft"}, "Error: Missing value for '--channel <channel>'"},
        {{"--draft=false"}, "Error: The flag '--draft' takes no value"},
        {{"--no-watermark=true"}, "Error: The flag '--no-watermark' takes no value"},
        {{"--nope=3"}, "Error: Unknown option '--nope'"},
        {{"--sch", "S"}, "Error: Unknown option '--sch'"},
        {{"a.app", "sign"}, "Error: Unexpected argument 'sign'"},
        {{"--format", "xml"}, "Error: The value 'xml' is invalid for '--format <format>'. Use text or json"},
        {{"--format", "JSON"},
         "Error: The value 'JSON' is invalid for '--format <format>'. Use text or json"},
        {{"--build-number", "-1"},
         "Error: The value '-1' is invalid for '--build-number <build-number>'. Use a positive integer or 'timestamp' or 'auto'"},
    };
    for (const auto& [line, result] : cases)
        EXPECT_EQ(optionsOf(line), result);
}

std::string printed(const Line& line) {
    const auto root = makeRootCommand();
    return std::get<Outcome::Print>(parseCommandLine(*root, "0.1.0", line).outcome).text;
}

TEST(CommandTree, listsTheCommandsInOrder) {
    const std::string help = printed({});
    std::string listed;
    std::istringstream lines(help.substr(help.find("SUBCOMMANDS:\n") + 13));
    for (std::string line; std::getline(lines, line) && !line.empty();)
        if (line.size() > 2 && line[2] != ' ')
            listed += line.substr(2, line.find(' ', 2) - 1);
    EXPECT_EQ(
        listed,
        "apps config create-dmg export install login logout post-archive licenses products register release releases setup sign status uninstall verify whoami dmg-template ");
    // The explanations of the examples stand in column 39.
    EXPECT_THAT(help, HasSubstr("\n  halvo setup MyApp.app               Set up a new app\n"));
}

TEST(CommandTree, answersHelpAndVersion) {
    EXPECT_EQ(printed({"--version"}), "0.1.0\n");
    EXPECT_EQ(printed({"--help"}), printed({}));
    EXPECT_EQ(printed({"help"}), printed({}));
    const std::string group = printed({"config", "set"});
    EXPECT_EQ(printed({"help", "config", "set"}), group);
    EXPECT_EQ(printed({"config", "set", "-h"}), group);
    EXPECT_THAT(group, testing::ContainsRegex("\n  release .*\n  s3 .*\n  app "));
    EXPECT_EQ(
        printed({"help", "apps", "delete"}),
        "OVERVIEW: Delete an app\n\nUSAGE: halvo apps delete --bundle-id <bundle-id> [--yes]\n\nOPTIONS:\n  -b, --bundle-id <bundle-id>\n                          Bundle identifier of the app\n  --yes                   Skip confirmation prompt\n  -h, --help              Show help information.\n");
}

TEST(CommandTree, selectsTheDeepestCommand) {
    const auto root = makeRootCommand();
    const Outcome parsed =
        parseCommandLine(*root, "0.1.0", Line{"releases", "list", "-b", "com.example.Demo"});
    const auto& run = std::get<Outcome::Run>(parsed.outcome);
    EXPECT_EQ(run.command->name(), "list");
    EXPECT_THAT(run.help, testing::StartsWith("OVERVIEW: List releases for an app\n"));
}

TEST(CommandTree, saysWhatIsWrongAndHowItGoes) {
    const std::pair<Line, std::string> cases[] = {
        {{"nosuch"},
         "Error: Unknown command 'nosuch'\nUsage: halvo <subcommand>\n  See 'halvo --help' for more information.\n"},
        {{"releases", "delete", "ID"},
         "Error: Missing expected argument '-b, --bundle-id <bundle-id>'\nUsage: halvo releases delete <id> --bundle-id <bundle-id> [<options>]\n  See 'halvo releases delete --help' for more information.\n"},
    };
    for (const auto& [line, text] : cases) {
        const auto root = makeRootCommand();
        const Outcome parsed = parseCommandLine(*root, "0.1.0", line);
        ASSERT_TRUE(std::holds_alternative<Outcome::UsageFault>(parsed.outcome));
        EXPECT_EQ(std::get<Outcome::UsageFault>(parsed.outcome).text, text);
    }
}

} // namespace
} // namespace halvo
