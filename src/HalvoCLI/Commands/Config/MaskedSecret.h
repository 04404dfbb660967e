#pragma once

#include <optional>
#include <string>

namespace halvo {

/// A secret as outputs have it: enough to tell two apart, and of no use to anybody else. Four bullets and, of
/// a long one, the last four characters; nothing for an empty or absent one.
std::string masked(const std::optional<std::string>& secret);

} // namespace halvo
