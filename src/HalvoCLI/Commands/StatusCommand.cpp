#include "CLIInstallLocator.h"
#include "Commands/Commands.h"
#include "DependencyContainer.h"
#include "Output/FailureReport.h"
#include "Services.h"

namespace halvo {
namespace {

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

std::unique_ptr<Command> makeStatusCommand() { return std::make_unique<StatusCommand>(); }

} // namespace halvo
