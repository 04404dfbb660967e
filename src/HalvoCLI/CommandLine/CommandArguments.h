#pragma once

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
    /// An option with a value of its own type; `parse` gives absent for a text that is no such value.
    template<typename Value>
    void typedOption(std::string_view names, Value& value, const std::string& help,
                     std::function<std::optional<Value>(const std::string&)> parse,
                     const std::string& defaultText = "",
                     const std::vector<std::string>& allowedValues = {}) {
        declare(names, help, defaultText, allowedValues,
                [&value, parse = std::move(parse)](const std::string& text) {
                    const auto parsed = parse(text);
                    if (parsed)
                        value = *parsed;
                    return parsed.has_value();
                });
    }
    /// The same for an option whose absence means something.
    template<typename Value>
    void typedOption(std::string_view names, std::optional<Value>& value, const std::string& help,
                     std::function<std::optional<Value>(const std::string&)> parse,
                     const std::vector<std::string>& allowedValues = {}) {
        declare(names, help, "", allowedValues, [&value, parse = std::move(parse)](const std::string& text) {
            const auto parsed = parse(text);
            if (parsed)
                value = *parsed;
            return parsed.has_value();
        });
    }
    /// A required positional argument with a value of its own type.
    template<typename Value>
    void typedPositional(const std::string& name, Value& value, const std::string& help,
                         std::function<std::optional<Value>(const std::string&)> parse,
                         const std::vector<std::string>& allowedValues = {}) {
        typedOption<Value>(name, value, help, std::move(parse), "", allowedValues);
        declarations.back().kind = ArgumentDeclaration::Kind::positional;
        declarations.back().required = true;
    }

    const std::vector<ArgumentDeclaration>& all() const { return declarations; }

private:
    void declare(std::string_view names, std::string help, std::string defaultText,
                 std::vector<std::string> allowedValues, ArgumentDeclaration::Assign assign);

    std::vector<ArgumentDeclaration> declarations;
};

} // namespace halvo
