#include "Commands/Commands.h"
#include "Commands/Unavailable.h"

namespace halvo {
namespace {

class InstallCommand final : public Command {
public:
    std::string_view name() const override { return "install"; }
    std::string_view abstract() const override { return "Install CLI to /usr/local/bin/halvo"; }
    void run(Services& services) override { reportUnavailable(services, "install"); }
};

} // namespace

std::unique_ptr<Command> makeInstallCommand() { return std::make_unique<InstallCommand>(); }

} // namespace halvo
