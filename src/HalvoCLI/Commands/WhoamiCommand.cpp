#include "Commands/Commands.h"
#include "DependencyContainer.h"
#include "Output/FailureReport.h"
#include "Services.h"

namespace halvo {
namespace {

class WhoamiCommand final : public Command {
public:
    std::string_view name() const override { return "whoami"; }
    std::string_view abstract() const override { return "Show current logged-in user"; }
    void declare(CommandArguments& arguments) override {
        arguments.flag("--refresh", refresh, "Refresh user data from server");
    }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        reportingFailure(*terminal, "", [&] {
            DependencyContainer container(services.platform);
            if (container.tokenController().hasEnvironmentToken())
                showOwnerOfToken(*terminal, container.apiClient());
            else
                showStoredUser(*terminal, container.authController());
        });
    }

private:
    /// The stored user says nothing about a token from the environment, and stays as it is.
    static void showOwnerOfToken(Terminal& terminal, APIClient& client) {
        reportingFailure(terminal, "Failed to refresh: ", [&] { show(terminal, client.getUser().user()); });
    }

    void showStoredUser(Terminal& terminal, AuthController& account) const {
        if (account.state().user() == nullptr) {
            terminal.warning(
                {{.message = "Not logged in",
                  .nextSteps = {"Run " + TerminalText::command("halvo login") + " to authenticate"}}});
            return;
        }
        if (refresh)
            reportingFailure(terminal, "Failed to refresh: ", [&] { account.fetchUser(); });
        show(terminal, *account.state().user());
    }

    static void show(Terminal& terminal, const User& user) {
        terminal.print("Name:   " + TerminalText(user.name));
        terminal.print("Email:  " + TerminalText(user.email));
    }

    bool refresh = false;
};

} // namespace

std::unique_ptr<Command> makeWhoamiCommand() { return std::make_unique<WhoamiCommand>(); }

} // namespace halvo
