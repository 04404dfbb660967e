#include "Commands/Commands.h"
#include "Commands/Unavailable.h"

namespace halvo {
namespace {

class StatusCommand final : public Command {
public:
    std::string_view name() const override { return "status"; }
    std::string_view abstract() const override { return "Show CLI setup status"; }
    void run(Services& services) override { reportUnavailable(services, "status"); }
};

} // namespace

std::unique_ptr<Command> makeStatusCommand() { return std::make_unique<StatusCommand>(); }

} // namespace halvo
