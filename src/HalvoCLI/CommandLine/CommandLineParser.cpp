#include "CommandLine/CommandLineParser.h"

#include <Base/Text.h>

#include <algorithm>
#include <map>

namespace halvo {
namespace {

using Kind = ArgumentDeclaration::Kind;

/// "-x" and "--x", but neither "-", which stands for standard input, nor "- a line of a list".
bool looksLikeOption(std::string_view word) {
    const std::size_t name = word.find_first_not_of('-');
    return (name == 1 || name == 2) && word[name] > '!';
}

/// Reads words from left to right. The first fault is kept while the reading goes on, since a request for
/// help further on matters more, and the usage to show is that of the deepest command.
class Reader {
public:
    Reader(Command& root, std::span<const std::string> words) : words(words) { enter(root); }

    ParsedCommandLine read() {
        bool onlyPositionals = false;
        while (!words.empty()) {
            const std::string word = take();
            if (onlyPositionals || !looksLikeOption(word)) {
                if (word == "--" && !onlyPositionals)
                    onlyPositionals = true;
                else
                    readWord(word);
            } else if (word == "--help" || word.starts_with("-h")) {
                wantsHelp = true;
            } else {
                readOption(word);
            }
        }
        return outcome();
    }

    bool wantsHelp = false;

private:
    std::string take() {
        std::string word = words.front();
        words = words.subspan(1);
        return word;
    }

    void enter(Command& next) {
        command = &next;
        path.emplace_back(next.name());
        command->declare(arguments);
        for (const ArgumentDeclaration& argument : arguments.all())
            if (argument.kind == Kind::positional)
                positionals.push_back(&argument);
    }

    /// The name of a command below this one, or the next positional argument.
    void readWord(const std::string& word) {
        const auto& children = command->subcommands();
        const auto child = std::ranges::find(children, word, [](const auto& one) { return one->name(); });
        if (child != children.end())
            enter(**child);
        else if (nextPositional < positionals.size())
            given[positionals[nextPositional++]] = word;
        else
            fail((children.empty() ? "Unexpected argument '" : "Unknown command '") + word + "'");
    }

    void readOption(const std::string& word) {
        // "--name=value" and "-nvalue" bring their value along.
        const bool isLong = word.starts_with("--");
        const std::size_t end = std::min(isLong ? word.find('=') : 2, word.size());
        const std::string name = word.substr(0, end);
        const auto found =
            std::ranges::find_if(arguments.all(), [&](const auto& one) { return one.isSpelled(name); });
        if (found == arguments.all().end())
            return fail("Unknown option '" + word.substr(0, word.find('=')) + "'");
        std::string value = word.substr(std::min(end + (isLong ? 1 : 0), word.size()));
        const bool hasValue = end < word.size();
        if (found->kind == Kind::flag) {
            if (hasValue)
                return fail("The flag '" + name + "' takes no value");
            value = name == found->inversion ? "false" : "true";
        } else if (!hasValue) {
            // Another option's name where a value should stand: the value was forgotten.
            const bool isForgotten =
                words.empty() || std::ranges::any_of(arguments.all(), [&](const auto& other) {
                    return other.isSpelled(words.front());
                });
            if (isForgotten)
                return fail("Missing value for '" + found->spelling() + "'");
            value = take();
        }
        given[&*found] = value;
    }

    /// Assigns what was given, the last of several values alone, and finds what was not.
    void assign() {
        for (const ArgumentDeclaration& argument : arguments.all()) {
            const auto value = given.find(&argument);
            if (value == given.end()) {
                if (argument.required)
                    fail("Missing expected argument '" + argument.spelling() + "'");
            } else if (!argument.assign(value->second)) {
                fail("The value '" + value->second + "' is invalid for '" + argument.spelling() + "'" +
                     (argument.allowedValues.empty() ? ""
                                                     : ". Use " + joined(argument.allowedValues, " or ")));
            }
        }
    }

    ParsedCommandLine outcome() {
        const std::string help = helpText(*command, arguments, path);
        if (wantsHelp)
            return {ParsedCommandLine::Print{help}};
        if (!command->subcommands().empty() && !fault)
            return {ParsedCommandLine::Print{help}};
        if (!fault)
            assign();
        if (!fault)
            return {ParsedCommandLine::Run{command, help}};
        return {ParsedCommandLine::UsageFault{
            "Error: " + *fault + "\nUsage: " + usageLine(*command, arguments, path) + "\n  See '" +
            joined(path, " ") + " --help' for more information.\n"}};
    }

    void fail(std::string message) {
        if (!fault)
            fault = std::move(message);
    }

    std::span<const std::string> words;
    Command* command = nullptr;
    std::vector<std::string> path;
    CommandArguments arguments; ///< only commands without subcommands have any
    std::vector<const ArgumentDeclaration*> positionals;
    std::size_t nextPositional = 0;
    std::map<const ArgumentDeclaration*, std::string> given;
    std::optional<std::string> fault;
};

} // namespace

ParsedCommandLine parseCommandLine(Command& root, std::string_view version,
                                   std::span<const std::string> arguments) {
    if (!arguments.empty() && arguments.front() == "--version")
        return {ParsedCommandLine::Print{std::string(version) + "\n"}};
    const bool helpCommand = !arguments.empty() && arguments.front() == "help";
    Reader reader(root, helpCommand ? arguments.subspan(1) : arguments);
    reader.wantsHelp = helpCommand; // "help config show" asks for what "config show --help" does
    return reader.read();
}

} // namespace halvo
