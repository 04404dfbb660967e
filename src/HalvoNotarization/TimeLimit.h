#pragma once

#include <Platform/Environment.h>

#include <chrono>
#include <string>

namespace halvo {

/// A variable that holds whole seconds; `fallback` when it is unset, empty or no decimal integer.
std::chrono::seconds timeLimit(const Environment& environment, const std::string& variable,
                               std::chrono::seconds fallback);

/// "60 seconds", "1 second".
std::string durationText(std::chrono::seconds duration);

} // namespace halvo
