#include "CommandLine/CIEnvironment.h"

#include <Base/Text.h>

namespace halvo::CIEnvironment {

bool isActive(const std::map<std::string, std::string>& environment) {
    const auto entry = environment.find("CI");
    if (entry == environment.end())
        return false;
    const std::string value = lowercased(entry->second);
    return value == "true" || value == "1" || value == "yes";
}

} // namespace halvo::CIEnvironment
