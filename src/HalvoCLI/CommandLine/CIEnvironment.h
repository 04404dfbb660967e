#pragma once

#include <Base/Text.h>

#include <map>
#include <string>

namespace halvo::CIEnvironment {

/// Whether the program runs on a build machine: the variable `CI` says "true", "1" or "yes" in any case.
inline bool isActive(const std::map<std::string, std::string>& environment) {
    const auto entry = environment.find("CI");
    if (entry == environment.end())
        return false;
    const std::string value = lowercased(entry->second);
    return value == "true" || value == "1" || value == "yes";
}

} // namespace halvo::CIEnvironment
