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
            AuthController& account = container.authController();
            if (container.tokenController().hasEnvironmentToken()) {
                if (showOwnerOfToken(*terminal, container.apiClient()))
                    return;
            } else if (account.state().user() == nullptr) {
                terminal->warning(
                    {{.message = "Not logged in",
                      .nextSteps = {"Run " + TerminalText::command("halvo login") + " to authenticate"}}});
            } else if (refresh) {
                reportingFailure(*terminal, couldNotRefresh,
                                 [&] { terminal->wait(asking, [&] { account.fetchUser(); }); });
            }
            if (const User* stored = account.state().user())
                show(*terminal, *stored);
        });
    }

private:
    static constexpr const char* couldNotRefresh = "Failed to refresh: ";
    static constexpr const char* asking = "Asking the service who you are";

    /// Whether the service told. The stored user says nothing about a token from the environment, and stays
    /// as it is.
    static bool showOwnerOfToken(Terminal& terminal, APIClient& client) {
        return reportingFailure(terminal, couldNotRefresh, [&] {
            show(terminal, terminal.wait(asking, [&] { return client.getUser().user(); }));
        });
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
