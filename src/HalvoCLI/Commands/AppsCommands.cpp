#include "Commands/AppsCommands.h"

#include "Commands/Commands.h"
#include "Commands/HostedApps.h"
#include "DependencyContainer.h"
#include "Output/FailureReport.h"
#include "Services.h"

#include <Base/Text.h>
#include <HalvoCore/HostedPublication.h>
#include <HalvoCore/ServerAppRepository.h>
#include <Models/ServiceAddresses.h>

#include <algorithm>

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

const std::string couldNotDelete = "Failed to delete: ";

template<typename Kind>
std::string described(const Kind& app) {
    return "\"" + app.name + "\" (" + app.bundleIdentifier + ")";
}

class AppsDeleteCommand final : public Command {
public:
    std::string_view name() const override { return "delete"; }
    std::string_view abstract() const override { return "Delete an app"; }
    void declare(CommandArguments& arguments) override {
        arguments.requiredOption("-b,--bundle-id", bundleId, bundleIdHelp);
        arguments.flag("--yes", yes, "Skip confirmation prompt");
    }

    void run(Services& services) override {
        const auto terminal = services.makeTerminal();
        DependencyContainer container(services.platform);
        endingOnFailure(*terminal, ExitCode::success, [&] {
            const auto target = chooseTarget(container, *terminal);
            if (!target || !agrees(*target, *terminal)) {
                terminal->print("Cancelled.");
                return;
            }
            withFailurePrefix(couldNotDelete, [&] { remove(*target, container, *terminal); });
        });
    }

private:
    /// Absent when the person chooses neither of two.
    std::optional<AppTarget> chooseTarget(DependencyContainer& container, Terminal& terminal) const {
        const auto account =
            withFailurePrefix(couldNotDelete, [&] { return listHostedApps(container, terminal); });
        const ServerApp* hosted = account ? findApp(*account, bundleId) : nullptr;
        const auto stored = container.localApps().fetchStored(bundleId);
        if (hosted != nullptr && stored)
            return askWhich(*hosted, *stored, terminal);
        if (hosted != nullptr)
            return AppTarget{*hosted};
        if (stored)
            return AppTarget{*stored};
        throw Failure("App not found: " + bundleId +
                      (account ? "" : "\n" + CLIError::notAuthenticated().description()));
    }

    static std::optional<AppTarget> askWhich(const ServerApp& hosted, const LocalApp& stored,
                                             Terminal& terminal) {
        const ChoiceQuestion question{.question = "App " + described(stored) +
                                                  " exists in both. Which would you like to delete?",
                                      .options = {"Halvo-hosted (" + hosted.name + ")",
                                                  "Local S3 (" + stored.storage.s3().bucket + ")", "Cancel"},
                                      .hint = "Run this command in a terminal to choose."};
        switch (terminal.singleChoicePrompt(question)) {
        case 0: return AppTarget{hosted};
        case 1: return AppTarget{stored};
        default: return std::nullopt;
        }
    }

    bool agrees(const AppTarget& target, Terminal& terminal) const {
        return yes || terminal.yesOrNoChoicePrompt({.question = target.confirmationMessage(),
                                                    .defaultAnswer = false,
                                                    .hint = "Pass --yes to delete it without being asked."});
    }

    void remove(const AppTarget& target, DependencyContainer& container, Terminal& terminal) const {
        if (const auto* hosted = std::get_if<ServerApp>(&target.value)) {
            terminal.wait("Deleting the app", [&] {
                requireLogin([&] { ServerAppRepository(container.apiClient()).remove(*hosted); });
            });
            terminal.print("Deleted Halvo-hosted app " + hosted->name);
            return;
        }
        const auto& stored = std::get<LocalApp>(target.value);
        container.localApps().remove(stored);
        container.storageController().setReleaseSettings(std::nullopt, bundleId);
        container.keyChain().deleteS3Credentials(bundleId);
        terminal.print("Deleted " + stored.name);
    }

    std::string bundleId{};
    bool yes = false;
};

class AppsCommand final : public CommandGroup {
public:
    AppsCommand() { add(std::make_unique<AppsListCommand>(), std::make_unique<AppsDeleteCommand>()); }
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

Table appTable(std::vector<App> apps) {
    std::ranges::stable_sort(apps, {}, [](const App& app) { return lowercased(app.name()); });
    Table table{.columns = {{.header = "Name"},
                            {.header = "Bundle ID", .overflow = ColumnOverflow::keeps},
                            {.header = "Hosting"}}};
    for (const App& app : apps)
        table.rows.push_back({TerminalText::primary(app.name()),
                              TerminalText::secondary(app.bundleIdentifier()),
                              app.localApp() != nullptr ? "S3" : "Halvo"});
    return table;
}

std::string AppTarget::confirmationMessage() const {
    if (const auto* hosted = std::get_if<ServerApp>(&value))
        return "Delete Halvo-hosted app " + described(*hosted) +
               "? This permanently removes the app and all its related data from " + servicePublicHost + ".";
    return "Delete app " + described(std::get<LocalApp>(value)) +
           "? This removes local config and credentials. The Sparkle signing key stays in the keychain.";
}

std::unique_ptr<Command> makeAppsCommand() { return std::make_unique<AppsCommand>(); }

} // namespace halvo
