#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace halvo {

/// One argument of a command as it is declared: how it is written, what it says in the help and where its
/// value goes.
struct ArgumentDeclaration {
    enum class Kind { positional, option, flag };
    /// Takes a value from the command line; false refuses it, which is a usage fault.
    using Assign = std::function<bool(const std::string& value)>;

    Kind kind = Kind::option;
    std::vector<std::string> names{}; ///< "-b", "--bundle-id"; for a positional its name alone
    std::string help{};
    bool required = false;
    std::string defaultText{};                ///< shown in the help; empty shows none
    std::vector<std::string> allowedValues{}; ///< named when a value is refused
    Assign assign{};         ///< for a flag, called with "true", or "false" for its inversion
    std::string inversion{}; ///< "--no-watermark": a second spelling of a flag that turns it off

    /// Whether a word of the command line, such as "-b", names this option or flag.
    bool isSpelled(std::string_view word) const;
    /// "<bundle-id>": what stands for the value in help and messages.
    std::string valueName() const;
    /// "-b, --bundle-id <bundle-id>", or "<path>" for a positional.
    std::string spelling() const;
};

/// The arguments of one command, in the order of their declaration, which is that of the help.
///
/// Each call binds a variable that must outlive the parsing. A variable keeps its initial value when the
/// argument is not given; the last of several occurrences wins. Names are written "--scheme" or
/// "-b,--bundle-id".
class CommandArguments {
public:
    void positional(const std::string& name, std::string& value, std::string help);
    void positional(const std::string& name, std::optional<std::string>& value, std::string help);
    void option(std::string_view names, std::optional<std::string>& value, std::string help);
    void requiredOption(std::string_view names, std::string& value, std::string help);
    void flag(std::string_view names, bool& value, std::string help);
    /// Absent unless one of the two spellings is given.
    void invertibleFlag(std::string_view name, std::string_view inversion, std::optional<bool>& value,
                        std::string help);
    /// An option with a value of its own type; `parse` gives absent for a text that is not such a value.
    template<typename Value>
    void typedOption(std::string_view names, Value& value, const std::string& help,
                     std::function<std::optional<Value>(const std::string&)> parse,
                     const std::string& defaultText = "",
                     const std::vector<std::string>& allowedValues = {}) {
        addTyped(names, value, help, parse, allowedValues).defaultText = defaultText;
    }
    /// The same for an option whose absence means something.
    template<typename Value>
    void typedOption(std::string_view names, std::optional<Value>& value, const std::string& help,
                     std::function<std::optional<Value>(const std::string&)> parse,
                     const std::vector<std::string>& allowedValues = {}) {
        addTyped(names, value, help, parse, allowedValues);
    }
    /// A required positional argument with a value of its own type.
    template<typename Value>
    void typedPositional(const std::string& name, Value& value, const std::string& help,
                         std::function<std::optional<Value>(const std::string&)> parse,
                         const std::vector<std::string>& allowedValues = {}) {
        ArgumentDeclaration& argument = addTyped(name, value, help, parse, allowedValues);
        argument.kind = ArgumentDeclaration::Kind::positional;
        argument.required = true;
    }

    const std::vector<ArgumentDeclaration>& all() const { return declarations; }

private:
    ArgumentDeclaration& add(ArgumentDeclaration::Kind kind, std::string_view names, std::string help,
                             ArgumentDeclaration::Assign assign);

    template<typename Target, typename Parse>
    ArgumentDeclaration& addTyped(std::string_view names, Target& target, const std::string& help,
                                  const Parse& parse, const std::vector<std::string>& allowedValues) {
        ArgumentDeclaration& argument =
            add(ArgumentDeclaration::Kind::option, names, help, [&target, parse](const std::string& text) {
                const auto parsed = parse(text);
                if (parsed)
                    target = *parsed;
                return parsed.has_value();
            });
        argument.allowedValues = allowedValues;
        return argument;
    }

    std::vector<ArgumentDeclaration> declarations;
};

/// A path as a person writes it: a leading "~" or "~/" becomes the home folder.
std::string expandingTilde(const std::string& path, const std::filesystem::path& home);

} // namespace halvo
