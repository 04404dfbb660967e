#include "Commands/AccountPrompts.h"
#include "Commands/Commands.h"
#include "DependencyContainer.h"
#include "Output/FailureReport.h"
#include "Services.h"

namespace halvo {
namespace {

class RegisterCommand final : public Command {
public:
    std::string_view name() const override { return "register"; }
    std::string_view abstract() const override { return "Create a new account"; }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        reportingFailure(*terminal, "Registration failed: ", [&] {
            DependencyContainer container(services.platform);
            AuthController& account = container.authController(); // fails before anything is asked
            const std::string name = askAccount(*terminal, "Name", "What is your name?");
            const std::string email = askEmail(*terminal);
            const std::string password = askPassword(*terminal, "Choose a password");
            const User user = terminal->progressStep(
                {.message = "Creating account",
                 .successMessage = "Account created successfully",
                 .errorMessage = "Failed to create account"},
                [&](ProgressUpdater&) { return account.registerUser(email, password, name); });
            terminal->print("Welcome, " + TerminalText::primary(user.name) +
                            "! Your account has been created.");
        });
    }
};

} // namespace

std::unique_ptr<Command> makeRegisterCommand() { return std::make_unique<RegisterCommand>(); }

} // namespace halvo
