#pragma once

#include <Base/Failure.h>

#include <optional>
#include <string>

namespace halvo {

/// "true" or "false", written exactly so; absent for anything else.
inline std::optional<bool> parseBooleanValue(const std::string& text) {
    return text == "true" || text == "false" ? std::optional(text == "true") : std::nullopt;
}

/// The same. Throws Failure "Invalid boolean value: x. Use true/false."
inline bool readBooleanValue(const std::string& text) {
    if (const auto value = parseBooleanValue(text))
        return *value;
    throw Failure("Invalid boolean value: " + text + ". Use true/false.");
}

} // namespace halvo
