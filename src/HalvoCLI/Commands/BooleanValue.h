#pragma once

#include <optional>
#include <string>

namespace halvo {

/// "true" or "false", written exactly so; absent for anything else.
std::optional<bool> parseBooleanValue(const std::string& text);

/// The same. Throws Failure "Invalid boolean value: x. Use true/false."
bool readBooleanValue(const std::string& text);

} // namespace halvo
