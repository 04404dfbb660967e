#include "Commands/Commands.h"
#include "Commands/Unavailable.h"

namespace halvo {
namespace {

class LoginCommand final : public Command {
public:
    std::string_view name() const override { return "login"; }
    std::string_view abstract() const override { return "Login to your account"; }
    void run(Services& services) override { reportUnavailable(services, "login"); }
};

} // namespace

std::unique_ptr<Command> makeLoginCommand() { return std::make_unique<LoginCommand>(); }

} // namespace halvo
