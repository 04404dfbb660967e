#include "Commands/Commands.h"
#include "Commands/Unavailable.h"

namespace halvo {
namespace {

class UninstallCommand final : public Command {
public:
    std::string_view name() const override { return "uninstall"; }
    std::string_view abstract() const override { return "Remove CLI from /usr/local/bin/halvo"; }
    void run(Services& services) override { reportUnavailable(services, "uninstall"); }
};

} // namespace

std::unique_ptr<Command> makeUninstallCommand() { return std::make_unique<UninstallCommand>(); }

} // namespace halvo
