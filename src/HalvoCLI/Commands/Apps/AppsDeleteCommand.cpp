#include "Commands/Apps/AppsDeleteCommand.h"

#include "Commands/Commands.h"
#include "Commands/HostedApps.h"
#include "Output/FailureReport.h"
#include "Services.h"

#include <HalvoCore/HostedPublication.h>
#include <HalvoCore/ServerAppRepository.h>
#include <Models/ServiceAddresses.h>

namespace halvo {
namespace {

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

} // namespace

std::string AppTarget::confirmationMessage() const {
    if (const auto* hosted = std::get_if<ServerApp>(&value))
        return "Delete Halvo-hosted app " + described(*hosted) +
               "? This permanently removes the app and all its related data from " + servicePublicHost + ".";
    return "Delete app " + described(std::get<LocalApp>(value)) +
           "? This removes local config and credentials. The Sparkle signing key stays in the keychain.";
}

std::unique_ptr<Command> makeAppsDeleteCommand() { return std::make_unique<AppsDeleteCommand>(); }

} // namespace halvo
