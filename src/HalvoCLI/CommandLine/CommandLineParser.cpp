#include "CommandLine/CommandLineParser.h"

#include "CommandLine/HelpText.h"

#include <Base/Text.h>

#include <algorithm>
#include <map>

#include <CLI/CLI.hpp>

namespace halvo {
namespace {

using Print = ParsedCommandLine::Print;
using Run = ParsedCommandLine::Run;
using UsageFault = ParsedCommandLine::UsageFault;

/// A value that an argument's type refuses.
struct RefusedValue {
    const ArgumentDeclaration* argument;
    std::string value;
};

/// An option whose value is another option's name: its own was forgotten.
struct MissingValue {
    const ArgumentDeclaration* argument;
};

/// A command of ours with what the parser library knows of it.
struct Node {
    Command* command = nullptr;
    std::vector<std::string> path{};
    CommandArguments arguments{};
    std::map<const ArgumentDeclaration*, CLI::Option*> options{};
    std::vector<std::unique_ptr<Node>> children{};
    CLI::App* app = nullptr;
};

void assign(const ArgumentDeclaration& argument, const std::string& value) {
    if (!argument.assign(value))
        throw RefusedValue{&argument, value};
}

bool isSpelling(const CommandArguments& arguments, const std::string& text) {
    return !text.empty() &&
           std::any_of(arguments.all().begin(), arguments.all().end(), [&](const ArgumentDeclaration& other) {
               return other.kind != ArgumentDeclaration::Kind::positional &&
                      (other.inversion == text || std::ranges::find(other.names, text) != other.names.end());
           });
}

CLI::Option* addArgument(CLI::App& app, const CommandArguments& all, const ArgumentDeclaration& argument) {
    if (argument.kind == ArgumentDeclaration::Kind::flag) {
        std::string names = joined(argument.names, ",");
        if (!argument.inversion.empty())
            names += ",!" + argument.inversion;
        return app
            .add_flag_function(
                names, [&argument](std::int64_t count) { assign(argument, count > 0 ? "true" : "false"); })
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast)
            ->disable_flag_override(); // "--yes=false" would count as given
    }
    return app
        .add_option_function<std::string>(joined(argument.names, ","),
                                          [&all, &argument](const std::string& value) {
                                              if (argument.kind == ArgumentDeclaration::Kind::option &&
                                                  isSpelling(all, value))
                                                  throw MissingValue{&argument};
                                              assign(argument, value);
                                          })
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

std::unique_ptr<Node> makeNode(Command& command, std::vector<std::string> path, CLI::App& app) {
    auto node = std::make_unique<Node>();
    node->command = &command;
    node->path = std::move(path);
    node->app = &app;
    app.set_help_flag("-h,--help", "Show help information.");
    app.require_subcommand(0, 1); // a value that is some command's name stays a value
    command.declare(node->arguments);
    for (const ArgumentDeclaration& argument : node->arguments.all())
        node->options.emplace(&argument, addArgument(app, node->arguments, argument));
    for (const auto& child : command.subcommands()) {
        std::vector<std::string> childPath = node->path;
        childPath.emplace_back(child->name());
        node->children.push_back(
            makeNode(*child, std::move(childPath), *app.add_subcommand(std::string(child->name()))));
    }
    return node;
}

/// The deepest command that the arguments named.
const Node& selected(const Node& node) {
    for (const auto& child : node.children)
        if (child->app->parsed())
            return selected(*child);
    return node;
}

std::string help(const Node& node) { return helpText(*node.command, node.arguments, node.path); }

UsageFault fault(const Node& node, const std::string& message) {
    const std::string command = joined(node.path, " ");
    return {"Error: " + message + "\nUsage: " + usageLine(*node.command, node.arguments, node.path) +
            "\n  See '" + command + " --help' for more information.\n"};
}

std::string describeRefusal(const RefusedValue& refused) {
    std::string text =
        "The value '" + refused.value + "' is invalid for '" + refused.argument->spelling() + "'";
    if (!refused.argument->allowedValues.empty())
        text += ". Use " + joined(refused.argument->allowedValues, " or ");
    return text;
}

std::string describeMissingValue(const ArgumentDeclaration& argument) {
    return "Missing value for '" + argument.spelling() + "'";
}

/// What the library found wrong with one argument: a value is missing, or a flag has one. It names a
/// spelling, a flag's without its dashes, in front of a colon or a blank.
std::string describeLibraryFault(const Node& node, const std::string& libraryText) {
    const std::string name = libraryText.substr(0, libraryText.find_first_of(": "));
    for (const ArgumentDeclaration& argument : node.arguments.all()) {
        if (argument.kind == ArgumentDeclaration::Kind::flag) {
            for (const std::string& spelling : {argument.names.back(), argument.inversion})
                if (spelling == "--" + name)
                    return "The flag '" + spelling + "' takes no value";
        } else if (std::ranges::find(argument.names, name) != argument.names.end()) {
            return describeMissingValue(argument);
        }
    }
    return libraryText;
}

std::string describeUnexpected(const Node& node, const std::string& argument) {
    if (argument.starts_with('-') && argument.size() > 1)
        return "Unknown option '" + argument.substr(0, argument.find('=')) + "'";
    if (!node.children.empty())
        return "Unknown command '" + argument + "'";
    return "Unexpected argument '" + argument + "'";
}

std::optional<UsageFault> missingArgument(const Node& node) {
    for (const auto& argument : node.arguments.all())
        if (argument.required && node.options.at(&argument)->count() == 0)
            return fault(node, "Missing expected argument '" + argument.spelling() + "'");
    return std::nullopt;
}

/// `help config show` asks for what `config show --help` does, and `--channel=` gives an empty value, for
/// which the library would take the next argument.
std::vector<std::string> normalised(std::span<const std::string> arguments) {
    std::vector<std::string> result;
    for (const std::string& argument : arguments) {
        const bool isEmptyValue = argument.starts_with("--") && argument.find('=') + 1 == argument.size();
        result.push_back(isEmptyValue ? argument.substr(0, argument.size() - 1) : argument);
        if (isEmptyValue)
            result.emplace_back();
    }
    if (!result.empty() && result.front() == "help") {
        result.erase(result.begin());
        result.emplace_back("--help");
    }
    return result;
}

ParsedCommandLine parse(const Node& root, const std::vector<std::string>& arguments) {
    try {
        root.app->parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::CallForHelp&) {
        return {Print{help(selected(root))}};
    } catch (const RefusedValue& refused) {
        return {fault(selected(root), describeRefusal(refused))};
    } catch (const MissingValue& missing) {
        return {fault(selected(root), describeMissingValue(*missing.argument))};
    } catch (const CLI::ExtrasError&) {
        const Node& node = selected(root);
        const auto remaining = root.app->remaining(true);
        return {fault(node, describeUnexpected(node, remaining.empty() ? "" : remaining.front()))};
    } catch (const CLI::ParseError& error) {
        const Node& node = selected(root);
        return {fault(node, describeLibraryFault(node, error.what()))};
    }
    const Node& node = selected(root);
    if (!node.children.empty())
        return {Print{help(node)}};
    if (auto missing = missingArgument(node))
        return {std::move(*missing)};
    return {Run{node.command, node.path, help(node)}};
}

} // namespace

ParsedCommandLine parseCommandLine(Command& root, std::string_view version,
                                   std::span<const std::string> arguments) {
    if (!arguments.empty() && arguments.front() == "--version")
        return {Print{std::string(version) + "\n"}};
    CLI::App app;
    const auto tree = makeNode(root, {std::string(root.name())}, app);
    return parse(*tree, normalised(arguments));
}

} // namespace halvo
