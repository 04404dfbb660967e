#pragma once

#include "CommandLine/Command.h"
#include "Commands/Commands.h"
#include "Commands/Config/ConfigWords.h"

#include <Base/Text.h>
#include <Base/URL.h>

#include <memory>
#include <string>

namespace halvo {

std::unique_ptr<Command> makeConfigShowCommand();
std::unique_ptr<Command> makeConfigSetReleaseCommand();
std::unique_ptr<Command> makeConfigSetS3Command();
std::unique_ptr<Command> makeConfigSetAppCommand();
std::unique_ptr<Command> makeConfigClearReleaseCommand();

/// A command that sets one of the fields of an enumeration to a value, for one app.
template<typename Field>
class ConfigSetFieldCommand : public Command {
public:
    std::string_view discussion() const final { return fieldList; }
    void declare(CommandArguments& arguments) final {
        const std::vector<std::string> words = allConfigWords<Field>();
        arguments.typedPositional<Field>("field", field, "Field to set (" + joined(words, ", ") + ")",
                                         parseConfigWord<Field>, words);
        arguments.positional("value", value, valueHelp());
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
    }

protected:
    virtual std::string valueHelp() const { return "Value to set"; }

    Field field{};
    std::string value{};
    std::string bundleId{};

private:
    const std::string fieldList = configWordList<Field>("Fields:");
};

/// Throws Failure "Invalid URL: " and the text unless it is an http or https address.
URL parseConfigURL(const std::string& text);

} // namespace halvo
