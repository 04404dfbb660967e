#include "CommandLine/CommandArguments.h"

#include <Base/Text.h>

namespace halvo {
namespace {

std::vector<std::string> splitNames(std::string_view names) { return split(names, ','); }

} // namespace

std::string ArgumentDeclaration::valueName() const {
    std::string name = names.back();
    while (name.starts_with('-'))
        name.erase(0, 1);
    return "<" + name + ">";
}

std::string ArgumentDeclaration::spelling() const {
    if (kind == Kind::positional)
        return valueName();
    std::string text = joined(names, ", ");
    if (kind == Kind::option)
        text += " " + valueName();
    if (!inversion.empty())
        text += "/" + inversion;
    return text;
}

void CommandArguments::positional(const std::string& name, std::string& value, std::string help) {
    declarations.push_back({.kind = ArgumentDeclaration::Kind::positional,
                            .names = {name},
                            .help = std::move(help),
                            .required = true,
                            .assign = [&value](const std::string& text) {
                                value = text;
                                return true;
                            }});
}

void CommandArguments::positional(const std::string& name, std::optional<std::string>& value,
                                  std::string help) {
    declarations.push_back({.kind = ArgumentDeclaration::Kind::positional,
                            .names = {name},
                            .help = std::move(help),
                            .assign = [&value](const std::string& text) {
                                value = text;
                                return true;
                            }});
}

void CommandArguments::option(std::string_view names, std::optional<std::string>& value, std::string help) {
    declare(names, std::move(help), "", {}, [&value](const std::string& text) {
        value = text;
        return true;
    });
}

void CommandArguments::requiredOption(std::string_view names, std::string& value, std::string help) {
    declare(names, std::move(help), "", {}, [&value](const std::string& text) {
        value = text;
        return true;
    });
    declarations.back().required = true;
}

void CommandArguments::flag(std::string_view names, bool& value, std::string help) {
    declarations.push_back({.kind = ArgumentDeclaration::Kind::flag,
                            .names = splitNames(names),
                            .help = std::move(help),
                            .assign = [&value](const std::string&) { return value = true; }});
}

void CommandArguments::invertibleFlag(std::string_view name, std::string_view inversion,
                                      std::optional<bool>& value, std::string help) {
    declarations.push_back({.kind = ArgumentDeclaration::Kind::flag,
                            .names = {std::string(name)},
                            .help = std::move(help),
                            .assign =
                                [&value](const std::string& text) {
                                    value = text == "true";
                                    return true;
                                },
                            .inversion = std::string(inversion)});
}

void CommandArguments::declare(std::string_view names, std::string help, std::string defaultText,
                               std::vector<std::string> allowedValues, ArgumentDeclaration::Assign assign) {
    declarations.push_back({.kind = ArgumentDeclaration::Kind::option,
                            .names = splitNames(names),
                            .help = std::move(help),
                            .defaultText = std::move(defaultText),
                            .allowedValues = std::move(allowedValues),
                            .assign = std::move(assign)});
}

} // namespace halvo
