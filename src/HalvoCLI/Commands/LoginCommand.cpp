#include "Commands/AccountPrompts.h"
#include "Commands/Commands.h"
#include "DependencyContainer.h"
#include "Output/FailureReport.h"
#include "Services.h"

namespace halvo {
namespace {

class LoginCommand final : public Command {
public:
    std::string_view name() const override { return "login"; }
    std::string_view abstract() const override { return "Login to your account"; }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        reportingFailure(*terminal, "Login failed: ", [&] {
            DependencyContainer container(services.platform);
            AuthController& account = container.authController(); // fails before anything is asked
            const std::string email = askEmail(*terminal);
            const std::string password = askPassword(*terminal, "What is your password?");
            const User user =
                terminal->progressStep({.message = "Logging in",
                                        .successMessage = "Logged in successfully",
                                        .errorMessage = "Login failed"},
                                       [&](ProgressUpdater&) { return account.login(email, password); });
            terminal->success("Welcome back, " + TerminalText::primary(user.name) + "!");
        });
    }
};

} // namespace

std::unique_ptr<Command> makeLoginCommand() { return std::make_unique<LoginCommand>(); }

} // namespace halvo
