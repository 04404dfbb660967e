#include "Commands/Unavailable.h"

#include <Models/ServiceAddresses.h>

namespace halvo {

void reportUnavailable(Services& services, std::string_view command) {
    services.makeTerminal()->printError(TerminalText::danger(
        "`halvo " + std::string(command) + "` is not available in this version of Halvo yet."));
    throw ExitCode{ExitCode::failure};
}

void reportNotAdministered(Services& services, std::string_view records) {
    services.makeTerminal()->printError(
        TerminalText::danger("This build of Halvo does not administer " + std::string(records) +
                             ". Use the service's website, https://" + servicePublicHost + ", instead."));
    throw ExitCode{ExitCode::failure};
}

} // namespace halvo
