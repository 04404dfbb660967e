#include "CommandLine/CommandArguments.h"

#include <Base/Text.h>

#include <algorithm>

namespace halvo {
namespace {

using Kind = ArgumentDeclaration::Kind;

template<typename Target>
ArgumentDeclaration::Assign storingIn(Target& target) {
    return [&target](const std::string& text) {
        target = text;
        return true;
    };
}

} // namespace

bool ArgumentDeclaration::isSpelled(std::string_view word) const {
    return kind != Kind::positional && !word.empty() &&
           (word == inversion || std::ranges::find(names, word) != names.end());
}

std::string ArgumentDeclaration::valueName() const {
    const std::string& name = names.back();
    return "<" + name.substr(name.find_first_not_of('-')) + ">";
}

std::string ArgumentDeclaration::spelling() const {
    if (kind == Kind::positional)
        return valueName();
    return joined(names, ", ") + (kind == Kind::option ? " " + valueName() : "") +
           (inversion.empty() ? "" : "/" + inversion);
}

ArgumentDeclaration& CommandArguments::add(Kind kind, std::string_view names, std::string help,
                                           ArgumentDeclaration::Assign assign) {
    declarations.push_back(
        {.kind = kind, .names = split(names, ','), .help = std::move(help), .assign = std::move(assign)});
    return declarations.back();
}

void CommandArguments::positional(const std::string& name, std::string& value, std::string help) {
    add(Kind::positional, name, std::move(help), storingIn(value)).required = true;
}

void CommandArguments::positional(const std::string& name, std::optional<std::string>& value,
                                  std::string help) {
    add(Kind::positional, name, std::move(help), storingIn(value));
}

void CommandArguments::option(std::string_view names, std::optional<std::string>& value, std::string help) {
    add(Kind::option, names, std::move(help), storingIn(value));
}

void CommandArguments::requiredOption(std::string_view names, std::string& value, std::string help) {
    add(Kind::option, names, std::move(help), storingIn(value)).required = true;
}

void CommandArguments::flag(std::string_view names, bool& value, std::string help) {
    add(Kind::flag, names, std::move(help), [&value](const std::string&) { return value = true; });
}

void CommandArguments::invertibleFlag(std::string_view name, std::string_view inversion,
                                      std::optional<bool>& value, std::string help) {
    const auto assign = [&value](const std::string& text) {
        value = text == "true";
        return true;
    };
    add(Kind::flag, name, std::move(help), assign).inversion = inversion;
}

std::string expandingTilde(const std::string& path, const std::filesystem::path& home) {
    if (path == "~" || path.starts_with("~/"))
        return home.string() + path.substr(1);
    return path;
}

} // namespace halvo
