#pragma once

#include <Base/UUID.h>

#include <string_view>

namespace halvo::DeterministicUUID {

/// The name-based UUID of RFC 4122, section 4.3, with SHA-1.
UUID v5(const UUID& nameSpace, std::string_view name);

} // namespace halvo::DeterministicUUID
