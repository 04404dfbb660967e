#pragma once

#include <map>
#include <string>

namespace halvo::CIEnvironment {

/// Whether the program runs on a build machine: the variable `CI` says "true", "1" or "yes" in any case.
bool isActive(const std::map<std::string, std::string>& environment);

} // namespace halvo::CIEnvironment
