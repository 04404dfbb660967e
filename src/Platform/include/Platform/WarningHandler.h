#pragma once

#include <functional>
#include <string>

namespace halvo {

/// Told, in a sentence that holds no secret, what the user should know although the work goes on.
using WarningHandler = std::function<void(const std::string& message)>;

} // namespace halvo
