#include "Commands/Commands.h"
#include "DependencyContainer.h"
#include "Output/FailureReport.h"
#include "Services.h"

namespace halvo {
namespace {

class LogoutCommand final : public Command {
public:
    std::string_view name() const override { return "logout"; }
    std::string_view abstract() const override { return "Logout from your account"; }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        reportingFailure(*terminal, "Failed to logout: ", [&] {
            DependencyContainer container(services.platform);
            terminal->progressStep({.message = "Logging out",
                                    .successMessage = "Logged out successfully",
                                    .errorMessage = "Failed to logout"},
                                   [&](ProgressUpdater&) { container.authController().logout(); });
            terminal->print("You have been logged out.");
        });
    }
};

} // namespace

std::unique_ptr<Command> makeLogoutCommand() { return std::make_unique<LogoutCommand>(); }

} // namespace halvo
