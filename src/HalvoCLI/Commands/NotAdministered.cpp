#include "Commands/NotAdministered.h"

#include "CommandLine/Command.h"

#include <Models/ServiceAddresses.h>

namespace halvo {

void reportNotAdministered(Services& services, std::string_view records) {
    services.makeTerminal()->printError(
        TerminalText::danger("This build of Halvo does not administer " + std::string(records) +
                             ". Use the service's website, https://" + servicePublicHost + ", instead."));
    throw ExitCode{ExitCode::failure};
}

} // namespace halvo
