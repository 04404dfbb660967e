#pragma once

#include "Services.h"

#include <string_view>

namespace halvo {

/// Says that records of this kind are administered elsewhere, and ends with the status of a failure.
[[noreturn]] void reportNotAdministered(Services& services, std::string_view records);

} // namespace halvo
