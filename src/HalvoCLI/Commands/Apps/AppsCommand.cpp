#include "Commands/Apps/AppTable.h"
#include "Commands/Apps/AppsDeleteCommand.h"
#include "Commands/Commands.h"
#include "Commands/HostedApps.h"
#include "DependencyContainer.h"
#include "Output/FailureReport.h"
#include "Services.h"

namespace halvo {
namespace {

class AppsListCommand final : public Command {
public:
    std::string_view name() const override { return "list"; }
    std::string_view abstract() const override { return "List all apps"; }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        DependencyContainer container(services.platform);
        endingOnFailure(*terminal, ExitCode::success, [&] { list(container, *terminal); });
    }

private:
    static void list(DependencyContainer& container, Terminal& terminal) {
        std::vector<App> apps;
        TerminalText whenNone =
            "No apps found. Run " + TerminalText::command("halvo setup") + " to get started.";
        try {
            if (const auto hosted = listHostedApps(container, terminal)) {
                for (const ServerApp& app : *hosted)
                    apps.push_back({app});
            } else {
                terminal.print("Note: Not logged in. Showing local apps only.");
                whenNone = "No local apps found. Log in to see Halvo-hosted apps.";
            }
        } catch (const Failure& failure) { // those of this machine can be shown all the same
            terminal.print(
                TerminalText::danger("Failed to fetch Halvo-hosted apps: " + failure.description()));
            whenNone = "No local apps found.";
        }
        for (LocalApp& app : container.localApps().listStored())
            apps.push_back({std::move(app)});
        if (apps.empty())
            terminal.print(whenNone);
        else
            terminal.table(appTable(std::move(apps)));
    }
};

class AppsCommand final : public CommandGroup {
public:
    AppsCommand() { add(std::make_unique<AppsListCommand>(), makeAppsDeleteCommand()); }
    std::string_view name() const override { return "apps"; }
    std::string_view abstract() const override { return "Manage apps"; }
    std::string_view discussion() const override {
        return "List and manage your apps.\n"
               "\n"
               "  halvo apps list\n"
               "  halvo apps delete -b com.example.App";
    }
};

} // namespace

std::unique_ptr<Command> makeAppsCommand() { return std::make_unique<AppsCommand>(); }

} // namespace halvo
