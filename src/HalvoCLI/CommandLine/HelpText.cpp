#include "CommandLine/CommandLineParser.h"

#include <Base/Text.h>

#include <utility>

namespace halvo {
namespace {

constexpr std::size_t lineWidth = 80;
/// Beyond so many arguments "[<options>]" stands for the optional ones.
constexpr std::size_t longestUsage = 8;
constexpr std::size_t explanationColumn = 26; ///< where the explanations of options and commands start

/// Breaks at blanks so that no line is longer than the width; a word longer than that stands alone.
std::string wrapped(std::string_view text, std::size_t indent) {
    std::string result;
    std::size_t column = indent;
    for (const std::string& word : split(text, ' ')) {
        if (column > indent && column + 1 + word.size() > lineWidth) {
            result += "\n" + std::string(indent, ' ');
            column = indent;
        } else if (column > indent) {
            result += ' ';
            ++column;
        }
        result += word;
        column += word.size();
    }
    return result;
}

std::string row(std::string_view left, std::string_view right) {
    std::string line = "  " + std::string(left);
    if (right.empty())
        return line + "\n";
    if (line.size() + 1 > explanationColumn)
        line += "\n" + std::string(explanationColumn, ' ');
    else
        line.append(explanationColumn - line.size(), ' ');
    return line + wrapped(right, explanationColumn) + "\n";
}

std::string explanation(const ArgumentDeclaration& argument) {
    if (argument.defaultText.empty())
        return argument.help;
    return argument.help + " (default: " + argument.defaultText + ")";
}

std::string argumentRows(const CommandArguments& arguments, bool positionals) {
    std::string rows;
    for (const ArgumentDeclaration& argument : arguments.all())
        if ((argument.kind == ArgumentDeclaration::Kind::positional) == positionals)
            rows += row(argument.spelling(), explanation(argument));
    return rows;
}

} // namespace

std::string usageLine(const Command& command, const CommandArguments& arguments,
                      std::span<const std::string> path) {
    std::string line = joined({path.begin(), path.end()}, " ");
    if (!command.subcommands().empty())
        return line + " <subcommand>";
    const bool shortened = arguments.all().size() > longestUsage;
    bool optionsNamed = false;
    for (const ArgumentDeclaration& argument : arguments.all()) {
        if (shortened && !argument.required && argument.kind != ArgumentDeclaration::Kind::positional) {
            if (!std::exchange(optionsNamed, true))
                line += " [<options>]";
            continue;
        }
        std::string text = argument.names.back();
        if (argument.kind == ArgumentDeclaration::Kind::positional)
            text = argument.valueName();
        else if (argument.kind == ArgumentDeclaration::Kind::option)
            text += " " + argument.valueName();
        line += argument.required ? " " + text : " [" + text + "]";
    }
    return line;
}

std::string helpText(const Command& command, const CommandArguments& arguments,
                     std::span<const std::string> path) {
    std::string text = "OVERVIEW: " + std::string(command.abstract()) + "\n\n";
    if (!command.discussion().empty())
        text += std::string(command.discussion()) + "\n\n";
    text += "USAGE: " + wrapped(usageLine(command, arguments, path), 7) + "\n\n";
    if (const std::string rows = argumentRows(arguments, true); !rows.empty())
        text += "ARGUMENTS:\n" + rows + "\n";
    text += "OPTIONS:\n" + argumentRows(arguments, false);
    if (path.size() == 1)
        text += row("--version", "Show the version.");
    text += row("-h, --help", "Show help information.");
    if (!command.subcommands().empty()) {
        text += "\nSUBCOMMANDS:\n";
        for (const auto& child : command.subcommands())
            text += row(child->name(), child->abstract());
        std::string below = joined({path.begin() + 1, path.end()}, " ");
        text += "\n  See '" + path.front() + " help " + (below.empty() ? "" : below + " ") +
                "<subcommand>' for detailed help.\n";
    }
    return text;
}

} // namespace halvo
