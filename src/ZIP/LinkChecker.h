#pragma once

#include "ArchiveIndex.h"

#include <map>

namespace halvo::zip {

/// The targets of an archive's links, by the links' paths.
using LinkTargets = std::map<std::string, std::string, std::less<>>;

/// Throws ZIPError (UnsafeLink) when the link at `path` leads out of the archive's folder, alone or through
/// other links of the archive, or round in a circle. A target that does not exist is harmless.
void requireLinkInside(const LinkTargets& targets, const std::string& path);

} // namespace halvo::zip
