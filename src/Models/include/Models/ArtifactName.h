#pragma once

#include <string>
#include <string_view>

namespace halvo {

/// A name as it may stand in a file name or an object key: in composed form, with "-" in place of "/" and
/// control characters, without leading dots. "App" when nothing is left.
std::string artifactName(std::string_view name);

} // namespace halvo
