#include "Commands/Commands.h"
#include "Commands/NotAdministered.h"

namespace halvo {
namespace {

class LicensesCommand final : public Command {
public:
    std::string_view name() const override { return "licenses"; }
    std::string_view abstract() const override { return "Manage the licenses of your products"; }
    void run(Services& services) override { reportNotAdministered(services, "licenses"); }
};

} // namespace

std::unique_ptr<Command> makeLicensesCommand() { return std::make_unique<LicensesCommand>(); }

} // namespace halvo
