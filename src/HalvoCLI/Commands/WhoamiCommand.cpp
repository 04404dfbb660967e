#include "Commands/Commands.h"
#include "Commands/Unavailable.h"

namespace halvo {
namespace {

class WhoamiCommand final : public Command {
public:
    std::string_view name() const override { return "whoami"; }
    std::string_view abstract() const override { return "Show current logged-in user"; }
    void declare(CommandArguments& arguments) override {
        arguments.flag("--refresh", refresh, "Refresh user data from server");
    }
    void run(Services& services) override { reportUnavailable(services, "whoami"); }

private:
    bool refresh = false;
};

} // namespace

std::unique_ptr<Command> makeWhoamiCommand() { return std::make_unique<WhoamiCommand>(); }

} // namespace halvo
