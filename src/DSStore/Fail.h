#pragma once

#include <DSStore/DSStoreError.h>

namespace halvo::dsstore {

/// Throws Error of the case `corruptedFile`.
[[noreturn]] void failCorrupted(std::string detail);
/// Throws Error of the case `writeFailed`.
[[noreturn]] void failWriting(std::string detail);

} // namespace halvo::dsstore
