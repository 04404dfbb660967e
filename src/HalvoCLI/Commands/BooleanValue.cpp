#include "Commands/BooleanValue.h"

#include <Base/Failure.h>

namespace halvo {

std::optional<bool> parseBooleanValue(const std::string& text) {
    if (text == "true" || text == "false")
        return text == "true";
    return std::nullopt;
}

bool readBooleanValue(const std::string& text) {
    if (const auto value = parseBooleanValue(text))
        return *value;
    throw Failure("Invalid boolean value: " + text + ". Use true/false.");
}

} // namespace halvo
