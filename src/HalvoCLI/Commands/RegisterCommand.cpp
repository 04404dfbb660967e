#include "Commands/Commands.h"
#include "Commands/Unavailable.h"

namespace halvo {
namespace {

class RegisterCommand final : public Command {
public:
    std::string_view name() const override { return "register"; }
    std::string_view abstract() const override { return "Create a new account"; }
    void run(Services& services) override { reportUnavailable(services, "register"); }
};

} // namespace

std::unique_ptr<Command> makeRegisterCommand() { return std::make_unique<RegisterCommand>(); }

} // namespace halvo
