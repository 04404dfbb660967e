#include "CommandLine/CommandLineParser.h"

#include "CommandLine/HelpText.h"

#include <Base/Text.h>

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

CLI::Option* addArgument(CLI::App& app, const ArgumentDeclaration& argument) {
    if (argument.kind == ArgumentDeclaration::Kind::flag) {
        std::string names = joined(argument.names, ",");
        if (!argument.inversion.empty())
            names += ",!" + argument.inversion;
        return app
            .add_flag_function(
                names, [&argument](std::int64_t count) { assign(argument, count > 0 ? "true" : "false"); })
            ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    }
    return app
        .add_option_function<std::string>(joined(argument.names, ","),
                                          [&argument](const std::string& value) { assign(argument, value); })
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
}

std::unique_ptr<Node> makeNode(Command& command, std::vector<std::string> path, CLI::App& app) {
    auto node = std::make_unique<Node>();
    node->command = &command;
    node->path = std::move(path);
    node->app = &app;
    app.set_help_flag("-h,--help", "Show help information.");
    command.declare(node->arguments);
    for (const ArgumentDeclaration& argument : node->arguments.all())
        node->options.emplace(&argument, addArgument(app, argument));
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

/// The argument that the library speaks of when a value is missing: it names one spelling in front of a
/// colon.
std::string describeMissingValue(const Node& node, const std::string& libraryText) {
    const std::string name = libraryText.substr(0, libraryText.find(':'));
    for (const ArgumentDeclaration& argument : node.arguments.all())
        for (const std::string& spelling : argument.names)
            if (spelling == name)
                return "Missing value for '" + argument.spelling() + "'";
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

/// `help config show` asks for what `config show --help` does.
std::vector<std::string> normalised(std::span<const std::string> arguments) {
    std::vector<std::string> result(arguments.begin(), arguments.end());
    if (!result.empty() && result.front() == "help") {
        result.erase(result.begin());
        result.emplace_back("--help");
    }
    return result;
}

ParsedCommandLine parse(const Node& root, std::string_view version,
                        const std::vector<std::string>& arguments) {
    if (!arguments.empty() && arguments.front() == "--version")
        return {Print{std::string(version) + "\n"}};
    try {
        root.app->parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
    } catch (const CLI::CallForHelp&) {
        return {Print{help(selected(root))}};
    } catch (const RefusedValue& refused) {
        return {fault(selected(root), describeRefusal(refused))};
    } catch (const CLI::ExtrasError&) {
        const Node& node = selected(root);
        const auto remaining = root.app->remaining(true);
        return {fault(node, describeUnexpected(node, remaining.empty() ? "" : remaining.front()))};
    } catch (const CLI::ParseError& error) {
        const Node& node = selected(root);
        return {fault(node, describeMissingValue(node, error.what()))};
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
    CLI::App app;
    const auto tree = makeNode(root, {std::string(root.name())}, app);
    return parse(*tree, version, normalised(arguments));
}

} // namespace halvo
