#pragma once

#include "CommandLine/Command.h"
#include "Services.h"

#include <string_view>

namespace halvo {

/// Says that this version of the program does not have the command yet, and ends with the status of a
/// failure.
[[noreturn]] void reportUnavailable(Services& services, std::string_view command);

/// Says that records of this kind are administered elsewhere, and ends with the status of a failure.
[[noreturn]] void reportNotAdministered(Services& services, std::string_view records);

} // namespace halvo
