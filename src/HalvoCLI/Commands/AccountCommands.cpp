#include "CLIInstallLocator.h"
#include "Commands/Commands.h"
#include "DependencyContainer.h"
#include "Output/FailureReport.h"
#include "Services.h"

namespace halvo {
namespace {

constexpr const char* hint =
    "Run this command in a terminal. Where there is none, set HALVO_TOKEN to an API key of your account.";

std::string askAccount(Terminal& terminal, const TerminalText& title, const TerminalText& question) {
    return terminal.textPrompt({.title = title, .prompt = question, .hint = hint});
}

std::string askEmail(Terminal& terminal) {
    return askAccount(terminal, "Email", "What is your email address?");
}

std::string askPassword(Terminal& terminal, const TerminalText& question) {
    return terminal.textPrompt({.title = "Password", .prompt = question, .secure = true, .hint = hint});
}

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
            show(terminal, terminal.wait(asking, [&] { return client.getUser(); }));
        });
    }

    static void show(Terminal& terminal, const User& user) {
        terminal.print("Name:   " + TerminalText(user.name));
        terminal.print("Email:  " + TerminalText(user.email));
    }

    bool refresh = false;
};

class StatusCommand final : public Command {
public:
    std::string_view name() const override { return "status"; }
    std::string_view abstract() const override { return "Show CLI setup status"; }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        terminal->print(TerminalText::section("Authentication"));
        reportingFailure(*terminal, "  ", [&] { showAccount(*terminal, services.platform); });
        terminal->print("");
        terminal->print(TerminalText::section("CLI Installation"));
        showInstallations(*terminal, services.platform);
        terminal->print("");
        terminal->print(TerminalText::section("Secrets"));
        terminal->print("  Kept in " + services.platform.keychainItems.location());
    }

private:
    static void showAccount(Terminal& terminal, Platform& platform) {
        DependencyContainer container(platform);
        if (const User* user = container.authController().state().user())
            terminal.print("  Logged in as " + TerminalText::primary(user->email));
        else
            terminal.print("  Not logged in");
    }

    static void showInstallations(Terminal& terminal, const Platform& platform) {
        const auto found = CLIInstallLocator::findAll(
            CLIInstallLocator::Environment::live(platform.environment, platform.homeDirectory),
            CLIInstallLocator::FileProbe::live());
        if (found.empty()) {
            terminal.print("  Not installed");
            terminal.print("  Run " + TerminalText::command("halvo install") + " to install");
            return;
        }
        terminal.print("  Installed");
        for (const FoundCLI& entry : found)
            terminal.print("    " + TerminalText::path(entry.path.filePath().string()) + " -> " +
                           TerminalText::path(entry.resolvedPath.filePath().string()));
    }
};

} // namespace

std::unique_ptr<Command> makeLoginCommand() { return std::make_unique<LoginCommand>(); }
std::unique_ptr<Command> makeRegisterCommand() { return std::make_unique<RegisterCommand>(); }
std::unique_ptr<Command> makeLogoutCommand() { return std::make_unique<LogoutCommand>(); }
std::unique_ptr<Command> makeWhoamiCommand() { return std::make_unique<WhoamiCommand>(); }
std::unique_ptr<Command> makeStatusCommand() { return std::make_unique<StatusCommand>(); }

} // namespace halvo
