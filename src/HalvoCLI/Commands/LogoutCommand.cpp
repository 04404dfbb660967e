#include "Commands/Commands.h"
#include "Commands/Unavailable.h"

namespace halvo {
namespace {

class LogoutCommand final : public Command {
public:
    std::string_view name() const override { return "logout"; }
    std::string_view abstract() const override { return "Logout from your account"; }
    void run(Services& services) override { reportUnavailable(services, "logout"); }
};

} // namespace

std::unique_ptr<Command> makeLogoutCommand() { return std::make_unique<LogoutCommand>(); }

} // namespace halvo
